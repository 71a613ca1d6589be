// Checks of the text of a calibration file, before OpenCV's parser reads it.
//
// The parser recurses for every nested collection, loops for ever over some malformed base64 data,
// reads on behind a document that ends too early, and allocates a matrix of any claimed size. What
// would lead it there is refused, with an exception of the type that the parser itself throws.
#ifndef VISION_CALIBRATION_DOCUMENT_HPP
#define VISION_CALIBRATION_DOCUMENT_HPP

#include <opencv2/core.hpp>
#include <string>

namespace vision {

// Checks the document that `cv::FileStorage` would read under `filename`; of a compressed one, only
// that its text is of bounded length. One that does not exist or can't be opened passes, as
// `cv::FileStorage` then stays closed.
// Throws cv::Exception for what is no regular file and for a document that the parser may not
// survive.
void checkDocument(const std::string& filename);

// Checks that the node of the matrix `key` claims no more elements than it holds and no more
// dimensions than a matrix can have; any other fault is left to `cv::read`. Throws cv::Exception.
void checkMatrixNode(const cv::FileNode& node, const char* key, const std::string& filename);

// True when `cv::FileStorage` compresses what it writes under `filename`.
bool isCompressed(const std::string& filename);

// Checks that `filename` can be written to: that nothing has this name, or a regular file has it. A
// directory passes too, as creating a file there fails without harm. Throws cv::Exception.
void checkTarget(const std::string& filename);

// Writes a whole document, not compressed. Does nothing when the file can't be created.
// Throws cv::Exception when not all could be written.
void writeDocument(const std::string& filename, const std::string& text);

}  // namespace vision

#endif
