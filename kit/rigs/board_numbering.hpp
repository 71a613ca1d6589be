// Which point of a board is the first.
#ifndef TIOMIPRA_RIGS_BOARD_NUMBERING_HPP
#define TIOMIPRA_RIGS_BOARD_NUMBERING_HPP

#include "rigs/board_detection.hpp"

namespace tiomipra {

// Renumbers the points of `detection` so that they are numbered as in `reference`.
//
// Both images of a pair must agree on the first point of a board that looks the same after half a
// turn: `detection` gets the numbering that makes the board look most alike in both. Other boards
// are left as they are.
void alignNumbering(Detection& detection, const Detection& reference, const Board& board);

}  // namespace tiomipra

#endif
