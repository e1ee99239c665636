// Stands in for libFuzzer where there is none: runs a target over files and the files of folders.
#include "fuzz/fuzz_support.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

void replay(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    require(in.is_open(), path.c_str());
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
    std::fprintf(stderr, "%s\n", path.c_str());
    const ExactBlock input({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
    LLVMFuzzerTestOneInput(input.data(), bytes.size());
}

} // namespace

int main(int argc, char** argv) {
    std::size_t inputs = 0;
    for (const std::filesystem::path argument : std::vector<const char*>(argv + 1, argv + argc)) {
        std::vector<std::filesystem::path> files;
        if (is_directory(argument))
            for (const auto& entry : std::filesystem::directory_iterator(argument))
                files.push_back(entry.path());
        else
            files.push_back(argument);
        std::ranges::sort(files);
        for (const auto& file : files)
            replay(file);
        inputs += files.size();
    }
    std::fprintf(stderr, "%zu inputs\n", inputs);
    return inputs == 0 ? 1 : 0;
}
