// Pairs of images as a caller of Python has them: files or arrays.
#ifndef TIOMIPRA_PYTHON_IMAGE_PAIRS_HPP
#define TIOMIPRA_PYTHON_IMAGE_PAIRS_HPP

#include <memory>
#include <vector>

#include "arrays.hpp"
#include "base/notices.hpp"
#include "files/frame_source.hpp"

namespace tiomipra::python {

// To be made and destroyed by threads that hold the interpreter, and used without it.
class ImagePairs {
  public:
    // `left` and `right`: each an array or a sequence of arrays, or what `resolveImages` takes, in
    // a sequence or alone. Throws `TypeError` and `ValueError` that name the argument.
    ImagePairs(py::handle left, py::handle right, int rotateLeft = 0, int rotateRight = 0);

    // From the first pair on. Throws as `openFrames`.
    std::unique_ptr<FrameSource> open(const Notify& notify) const;

    // How they are read, which counts for arrays as well.
    const FrameArguments& arguments() const { return _arguments; }

  private:
    FrameArguments _arguments;
    std::vector<BorrowedImage> _left;  // of arrays
    std::vector<BorrowedImage> _right;
};

}  // namespace tiomipra::python

#endif
