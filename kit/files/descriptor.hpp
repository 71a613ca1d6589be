// What the operating system gives to work on files.
#ifndef TIOMIPRA_FILES_DESCRIPTOR_HPP
#define TIOMIPRA_FILES_DESCRIPTOR_HPP

#include <unistd.h>

#include <utility>

namespace tiomipra {

// A file descriptor, or -1; closed at its end.
class Descriptor {
  public:
    explicit Descriptor(int number = -1) : _number(number) {}
    Descriptor(Descriptor&& other) noexcept : _number(std::exchange(other._number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(_number, other._number);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (isOpen())
            close(_number);
    }

    bool isOpen() const { return _number >= 0; }
    int number() const { return _number; }

  private:
    int _number;
};

}  // namespace tiomipra

#endif
