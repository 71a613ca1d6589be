// Documents of cv::FileStorage from files that nobody vouches for.
#ifndef TIOMIPRA_RIGS_DOCUMENT_GUARD_HPP
#define TIOMIPRA_RIGS_DOCUMENT_GUARD_HPP

#include <functional>
#include <opencv2/core/persistence.hpp>
#include <string>

namespace tiomipra {

// Whether OpenCV takes all of `path` for the name of the file: it ends names at a '?', gives those
// that have a line break another format, and takes a digit behind ".gz" for a level.
bool isPlainName(const std::string& path);

// Calls `read` with a name of the file `path` that OpenCV understands, for its parser. Throws
// `InputError` that names the file: when it can't be opened or is empty, "must be `kind`", and when
// it is compressed or the parser complains, "is not `kind`" with the parser's words; `kind` as in
// "a calibration".
void readDocument(const std::string& path, const std::string& kind,
                  const std::function<void(const std::string& name)>& read);

// The document in the file `path`, for what OpenCV's parser survives; else throws as
// `readDocument`.
cv::FileStorage openDocument(const std::string& path, const std::string& kind);

}  // namespace tiomipra

#endif
