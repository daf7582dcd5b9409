// Gives the inputs of files and folders to a fuzz target, one by one, and prints their number. A
// finding ends the process.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "fuzz/fuzz.hpp"

extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

namespace fs = std::filesystem;

/// The files at or below the path, in the order of their names.
std::set<fs::path> filesAt(const fs::path& path) {
    std::set<fs::path> files;
    if (fs::is_regular_file(path)) {
        files.insert(path);
    } else if (fs::is_directory(path)) {
        for (const auto& entry : fs::recursive_directory_iterator(path)) {
            if (entry.is_regular_file()) {
                files.insert(entry.path());
            }
        }
    }
    return files;
}

void run(const fs::path& path) {
    std::fprintf(stderr, "%s\n", path.c_str());
    std::ifstream file(path, std::ios::binary);
    const std::string input(std::istreambuf_iterator<char>(file), {});
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
}

}  // namespace

int main(int argc, char** argv) {
    if (LLVMFuzzerInitialize != nullptr) {
        LLVMFuzzerInitialize(&argc, &argv);
    }
    std::size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        for (const fs::path& file : filesAt(argv[i])) {
            run(file);
            ++count;
        }
    }
    std::fprintf(stderr, "%zu inputs\n", count);
    if (count == 0) {
        std::fprintf(stderr, "usage: %s FILE|FOLDER...   (there is no file at what was named)\n",
                     argv[0]);
        return 2;
    }
    return 0;
}
