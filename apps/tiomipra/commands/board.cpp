// tiomipra board: a board to be printed.
#include <iostream>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "commands/commands.hpp"
#include "files/input_files.hpp"
#include "files/output_files.hpp"
#include "options/board_options.hpp"

namespace tiomipra {
namespace {

std::string encode(const Drawing& drawing, const std::string& path) {
    const std::string extension = extensionOf(path);
    if (extension == ".pdf")
        return encodePdf(drawing);
    if (extension == ".svg")
        return encodeSvg(drawing);
    throw SettingError("output", fmt::format("{} must end in .pdf or .svg", quote(path)));
}

// What to calibrate with once it is printed.
std::string calibrateWith(const BoardOptions& board) {
    std::string command =
        fmt::format("tiomipra calibrate --corners {} --square {}", board.corners, board.square);
    if (board.pattern != nameOf(Board().pattern))
        command += " --pattern " + board.pattern;
    if (board.pattern == nameOf(Pattern::charuco))
        command += fmt::format(" --marker {} --dictionary {}", board.marker, board.dictionary);
    return command;
}

}  // namespace

Ending runBoard(const DrawBoardOptions& options) {
    const Board board = boardOf(options.board);
    const Drawing drawing = drawBoard(board, options.page);
    writeFile(options.output, encode(drawing, options.output));
    std::cout << fmt::format(
        "{}: {}, on a page of {} x {} mm\nPrint it at 100 %, measure the ruler, fix it to "
        "something flat, then:\n  {} ...\n",
        printable(options.output), describeBoard(board), digits(drawing.page.width),
        digits(drawing.page.height), calibrateWith(options.board));
    return {};
}

}  // namespace tiomipra
