// A folder for the files of one test.
#ifndef TIOMIPRA_TESTS_SCRATCH_FOLDER_HPP
#define TIOMIPRA_TESTS_SCRATCH_FOLDER_HPP

#include <filesystem>
#include <string>

namespace tiomipra::test {

// Created empty, removed with all that it holds.
class ScratchFolder {
  public:
    ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ~ScratchFolder();

    // The path of a file in the folder.
    std::string path(const std::string& name) const { return (_folder / name).string(); }

    // Writes a file in the folder and gives its path.
    std::string write(const std::string& name, const std::string& content) const;

  private:
    std::filesystem::path _folder;
};

// All that the file at `path` holds.
std::string readFile(const std::string& path);

}  // namespace tiomipra::test

#endif
