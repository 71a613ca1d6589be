// The board that is calibrated with, and the options of `tiomipra board`, which draws one.
#ifndef TIOMIPRA_OPTIONS_BOARD_OPTIONS_HPP
#define TIOMIPRA_OPTIONS_BOARD_OPTIONS_HPP

#include <string>

#include "rigs/board.hpp"
#include "rigs/board_drawing.hpp"

namespace CLI {
class App;
}  // namespace CLI

namespace tiomipra {

struct BoardOptions {
    std::string pattern = nameOf(Board().pattern);
    std::string corners;
    std::string square;
    std::string marker;
    std::string dictionary = Board().dictionary;
};

// Adds --pattern, --corners, --square, --marker and --dictionary.
void addBoardOptions(CLI::App& command, BoardOptions& options);

// The board that the options describe. Throws `SettingError` when there is no such board.
Board boardOf(const BoardOptions& options);

struct DrawBoardOptions {
    BoardOptions board;
    std::string page = smallestPage;
    std::string output;
};

void addDrawBoardOptions(CLI::App& command, DrawBoardOptions& options);

}  // namespace tiomipra

#endif
