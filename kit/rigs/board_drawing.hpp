// Boards to be printed.
#ifndef TIOMIPRA_RIGS_BOARD_DRAWING_HPP
#define TIOMIPRA_RIGS_BOARD_DRAWING_HPP

#include <map>
#include <string>

#include "files/vector_drawing.hpp"
#include "rigs/board.hpp"

namespace tiomipra {

// Paper by its name, upright, in millimetres: "A4" and others.
const std::map<std::string, cv::Size2d>& pageSizes();

// The page that is chosen for the board: the smallest from A4 to A0 that it fits on.
constexpr auto smallestPage = "smallest";
// The page that is made for the board: as large as it with its margins.
constexpr auto fittedPage = "fit";

// The board, true to size, over a ruler to check that by and a line that says what it is. The page
// is one of `pageSizes()`, upright or across, or one of the two above.
//
// Throws `SettingError` for "square" when the board's unit is not the metre, and for "page" when
// the board does not fit on it.
Drawing drawBoard(const Board& board, const std::string& page);

// What it is, in a line: "chessboard of 10x7 squares, 25 mm each; 9x6 corners; 250 x 175 mm".
std::string describeBoard(const Board& board);

}  // namespace tiomipra

#endif
