// A folder of the test's own, which goes with it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include "bed/wait.hpp"

namespace bed {

class TemporaryFolder {
  public:
    TemporaryFolder() : path_(std::filesystem::temp_directory_path() / "avoipXXXXXX") {
        if (::mkdtemp(path_.data()) == nullptr) {
            throwSystemError("cannot make a folder");
        }
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return path_; }
    /// The path of a file in it.
    std::string file(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

}  // namespace bed
