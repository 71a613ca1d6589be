// One pair or many: runs them through workers, reports progress and failures, resumes.
//
// Beside the outputs of pair NAME stands its report, NAME_SUBCOMMAND.json, written last: what the
// pair was made with, which files were written and what was found. A pair whose report is there is
// whole.
#ifndef TIOMIPRA_RUNS_BATCH_HPP
#define TIOMIPRA_RUNS_BATCH_HPP

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "base/provenance.hpp"
#include "ending.hpp"
#include "files/frame_source.hpp"
#include "files/image_files.hpp"
#include "files/pending_files.hpp"
#include "files/protected_files.hpp"
#include "runs/batch_options.hpp"

namespace tiomipra {

// What became of a pair, as it is told.
// NOLINTNEXTLINE(bugprone-exception-escape): moving JSON checks its invariants, nothing else
struct PairReport {
    nlohmann::ordered_json result;  // for the report and --json; null when there is nothing to say
    std::string summary;            // the same for a person, a few words
};

// The files of a pair's result, which are called after it and get their names together.
class PairFiles {
  public:
    PairFiles(const BatchOptions& options, std::string pair, const ProtectedFiles& inputs);

    // Writes a file whose name is that of the pair and `suffix`. Throws `InputError` when it would
    // replace an input or can't be written.
    void add(const std::string& suffix, const std::string& bytes);

    // The same with an image, in the format that the suffix ends with.
    void addImage(const std::string& suffix, const cv::Mat& image) {
        add(suffix, encodeImage(suffix, image));
    }

    // Those that were added, within their folder.
    const std::vector<std::string>& names() const { return _names; }

    // Lets them appear, in the order in which they were added, as `PendingFiles` does.
    void publish() { _files.publish(); }

  private:
    std::string _folder;
    std::string _pair;
    const ProtectedFiles& _inputs;
    std::vector<std::string> _names;
    PendingFiles _files;
};

// Makes all files of a pair but the report; throws what a failing pair shall be reported with.
using ProcessPair = std::function<PairReport(const Frame&, PairFiles&)>;

// Runs all pairs of `frames`, several at once: each thread calls `makeWorker` once, so that a
// worker may own a `Stereo`. Creates the output folder, which runs with another `madeWith` must not
// write to meanwhile. Failures don't end the run: they are named at its end. Results go to standard
// output. SIGINT, SIGTERM and SIGHUP end the run after the pairs at hand.
//
// `madeWith` goes into every report. With `resume`, pairs are left out that were made from the same
// files, which are as they were, with the same `madeWith`, and whose files are all there. A pair
// fails whose files change while they are read. No result replaces one of the `inputs`, those of
// any pair.
//
// The status is `partial` when some pairs failed; when all failed, that of the first failure.
Ending runBatch(FrameSource& frames, const BatchOptions& options, const ProtectedFiles& inputs,
                const Provenance& madeWith, const std::function<ProcessPair()>& makeWorker);

}  // namespace tiomipra

#endif
