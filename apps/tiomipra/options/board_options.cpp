#include "options/board_options.hpp"

#include <CLI/App.hpp>
#include <CLI/Validators.hpp>
#include <vector>

#include "base/errors.hpp"
#include "base/quantities.hpp"
#include "base/text.hpp"
#include "options/common_options.hpp"

namespace tiomipra {
namespace {

// Other boards have no markers, whatever is given for them.
double markerLength(const BoardOptions& options) {
    if (options.marker.empty())
        throw SettingError("--pattern charuco needs --marker, the side of the markers");
    const std::string problem = complaint<parseLength>(options.marker);
    if (!problem.empty())
        throw SettingError("marker", problem);
    const Length marker = parseLength(options.marker);
    if (marker.unit != parseLength(options.square).unit)
        throw SettingError(
            fmt::format("--square {} and --marker {} must both have a suffix or both have none",
                        options.square, options.marker));
    return marker.value;
}

std::vector<std::string> pageNames() {
    std::vector<std::string> names{smallestPage, fittedPage};
    for (const auto& [name, size] : pageSizes())
        names.push_back(name);
    return names;
}

}  // namespace

void addBoardOptions(CLI::App& command, BoardOptions& options) {
    constexpr auto group = "Board";
    command
        .add_option("--pattern", options.pattern,
                    "chessboard, circles, asymmetric-circles or charuco")
        ->check(CLI::IsMember(patternNames()))
        ->type_name("NAME")
        ->capture_default_str()
        ->group(group);
    command
        .add_option("--corners", options.corners,
                    "Points per row and rows: inner corners (squares\n"
                    "minus one) or circles, as in 9x6")
        ->check(complaint<parseSize>)
        ->type_name("WxH")
        ->required()
        ->group(group);
    command
        .add_option("--square", options.square,
                    "Side of a square, or distance of neighbouring\n"
                    "circles (of rows, if asymmetric). With a suffix mm,\n"
                    "cm, m or in, all results are in metres; a bare\n"
                    "number is in your own unit, and so are all results")
        ->check(complaint<parseLength>)
        ->type_name("LENGTH")
        ->required()
        ->group(group);
    command
        .add_option("--marker", options.marker,
                    "Side of the markers of a ChArUco board, with a\n"
                    "suffix if --square has one")
        ->type_name("LENGTH")
        ->group(group);
    command
        .add_option("--dictionary", options.dictionary,
                    "Markers of a ChArUco board: 4x4_50, 5x5_100,\n"
                    "6x6_250, 7x7_1000, original, apriltag_36h11, ...")
        ->check(CLI::IsMember(dictionaryNames()))
        ->type_name("NAME")
        ->capture_default_str()
        ->group(group);
}

Board boardOf(const BoardOptions& options) {
    const Length square = parseLength(options.square);
    Board board;
    board.pattern = patternNames().at(options.pattern);
    board.corners = parseSize(options.corners);
    board.square = square.value;
    board.unit = square.unit;
    board.dictionary = options.dictionary;
    if (board.pattern == Pattern::charuco)
        board.marker = markerLength(options);
    checkBoard(board);
    return board;
}

void addDrawBoardOptions(CLI::App& command, DrawBoardOptions& options) {
    addBoardOptions(command, options.board);
    command.get_option("--square")
        ->description(
            "Side of a square, or distance of neighbouring\n"
            "circles (of rows, if asymmetric), with a suffix\n"
            "mm, cm, m or in");
    command
        .add_option("--page", options.page,
                    "A4, A3, A2, A1, A0, letter or tabloid, upright or\n"
                    "across; smallest: the first from A4 on that fits;\n"
                    "fit: made for the board")
        ->transform(CLI::IsMember(pageNames(), CLI::ignore_case))
        ->type_name("NAME")
        ->capture_default_str();
    command.add_option("--output", options.output, "The drawing: a .pdf or .svg file")
        ->type_name("FILE")
        ->required();
}

}  // namespace tiomipra
