// A folder for a test's files, which everybody can read; it goes with all that is in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include "bed/wait.hpp"

namespace bed {

class Folder {
  public:
    Folder() : path_(std::filesystem::temp_directory_path() / "avoip-XXXXXX") {
        if (::mkdtemp(path_.data()) == nullptr) {
            throwSystemError("cannot make a folder like " + path_);
        }
        std::filesystem::permissions(path_, std::filesystem::perms{0755});
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

}  // namespace bed
