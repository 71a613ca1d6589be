// The subcommands, one source file each: from options to results, files and how the command ends.
// Results go to standard output.
#ifndef TIOMIPRA_COMMANDS_COMMANDS_HPP
#define TIOMIPRA_COMMANDS_COMMANDS_HPP

#include "ending.hpp"

namespace tiomipra {

struct CalibrateOptions;
struct CheckOptions;
struct DrawBoardOptions;
struct EvaluateOptions;
struct ExportOptions;
struct ImportOptions;
struct InspectOptions;
struct MatchingOptions;
struct RectifyOptions;
struct ReportOptions;

Ending runBoard(const DrawBoardOptions& options);
Ending runCalibrate(const CalibrateOptions& options);
Ending runReport(const ReportOptions& options);
Ending runImport(const ImportOptions& options);
Ending runExport(const ExportOptions& options);
Ending runInspect(const InspectOptions& options);
Ending runCheck(const CheckOptions& options);
Ending runRectify(const RectifyOptions& options);
Ending runDisparity(const MatchingOptions& options);
Ending runDepth(const MatchingOptions& options);
Ending runEvaluate(const EvaluateOptions& options);

}  // namespace tiomipra

#endif
