#include "rigs/document_guard.hpp"

#include <algorithm>
#include <filesystem>
#include <opencv2/core.hpp>
#include <optional>
#include <stdexcept>
#include <vision/calibration.hpp>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/input_files.hpp"
#include "files/temporary_files.hpp"
#include "shared/document_target.hpp"

namespace tiomipra {
namespace {

std::string unreadable(const std::string& complaint) {
    return fmt::format("OpenCV can't read it ({})", complaint);
}

// OpenCV's parser states "NAME(LINE): what is wrong" where an exception has its function.
std::string describeComplaint(const cv::Exception& exception, const std::string& name) {
    const std::string start = name + "(";
    if (!startsWith(exception.func, start))
        return exception.code == cv::Error::StsAssert ? unreadable(exception.err) : exception.err;
    std::string complaint = exception.func.substr(start.size());
    complaint.erase(std::min(complaint.find(')'), complaint.size()), 1);
    return "line " + complaint;
}

// A name of the file `path` that OpenCV takes as it is: that of a link, if need be.
class PlainName {
  public:
    explicit PlainName(const std::string& path) : _text(path) {
        if (isPlainName(path))
            return;
        _folder.emplace();
        _text = _folder->path() + "/document";
        std::filesystem::create_symlink(std::filesystem::absolute(path), _text);
    }

    const std::string& text() const { return _text; }

  private:
    std::optional<PrivateFolder> _folder;
    std::string _text;
};

}  // namespace

bool isPlainName(const std::string& path) {
    return path.find('\n') == std::string::npos && vision::documentTarget(path).path == path;
}

void readDocument(const std::string& path, const std::string& kind,
                  const std::function<void(const std::string& name)>& read) {
    requireReadable(path);
    std::error_code error;
    if (std::filesystem::file_size(path, error) == 0)
        throw InputError(fmt::format("{} is empty, must be {}", quote(path), kind));
    const auto refuse = [&](const std::string& complaint) {
        throw InputError(fmt::format("{} is not {}: {}", quote(path), kind, complaint));
    };
    // OpenCV unpacks it while it parses, so that nothing could keep from its parser what that does
    // not survive.
    if (vision::documentTarget(path).isCompressed)
        refuse("it is compressed; unpack it first");
    const PlainName name(path);
    try {
        read(name.text());
    } catch (const cv::Exception& exception) {
        if (exception.code == cv::Error::StsNoMem)
            throw;
        refuse(describeComplaint(exception, name.text()));
    } catch (const std::logic_error& fault) {  // OpenCV's parser lets those of std::string through.
        refuse(unreadable(fault.what()));
    }
}

cv::FileStorage openDocument(const std::string& path, const std::string& kind) {
    cv::FileStorage storage;
    readDocument(path, kind, [&](const std::string& name) {
        // The library refuses a document that OpenCV's parser does not survive.
        vision::Calibration().load(name);
        storage.open(name, cv::FileStorage::READ);
    });
    return storage;
}

}  // namespace tiomipra
