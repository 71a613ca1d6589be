// Files that are read and must not be replaced, under whatever names.
#ifndef TIOMIPRA_FILES_PROTECTED_FILES_HPP
#define TIOMIPRA_FILES_PROTECTED_FILES_HPP

#include <sys/types.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tiomipra {

class ProtectedFiles {
  public:
    explicit ProtectedFiles(const std::vector<std::string>& files) { add(files); }

    // Those that exist, now.
    void add(const std::vector<std::string>& files);

    // Throws `InputError` that names both when the result `path` would replace one of them.
    void requireOther(const std::string& path) const;

  private:
    std::map<std::pair<dev_t, ino_t>, std::string> _paths;
};

}  // namespace tiomipra

#endif
