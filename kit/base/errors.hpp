// What can go wrong, said without regard to who asked: a command line, a page, a script.
#ifndef TIOMIPRA_BASE_ERRORS_HPP
#define TIOMIPRA_BASE_ERRORS_HPP

#include <stdexcept>
#include <string>
#include <utility>

namespace tiomipra {

// `what` is the whole message: the item, its value and the rule that it breaks.
class Error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// A file that can't be read or written, or an input that does not fit the others.
class InputError : public Error {
  public:
    using Error::Error;
};

// A file that the system does not let us read or write.
class FileError : public InputError {
  public:
    // `code` as in `errno`.
    FileError(const std::string& what, std::string path, int code)
        : InputError(what), _path(std::move(path)), _code(code) {}

    const std::string& path() const noexcept { return _path; }
    int code() const noexcept { return _code; }

  private:
    std::string _path;
    int _code;
};

// A setting whose value is not allowed, or does not go with other settings.
class SettingError : public Error {
  public:
    // `setting` as in "window-size"; `what` is the name, a blank and `problem`.
    SettingError(std::string setting, const std::string& problem)
        : Error(setting + " " + problem), _setting(std::move(setting)) {}

    // Of several settings together; `problem` names them, and `setting` is empty.
    explicit SettingError(const std::string& problem) : Error(problem) {}

    const std::string& setting() const noexcept { return _setting; }

  private:
    std::string _setting;
};

}  // namespace tiomipra

#endif
