// Runs a fuzz target over given inputs, without libFuzzer: fuzz_x <file or folder>...
//
// Folders are replayed with all their subfolders. Fails if a file cannot be read or if there is no
// input; a finding of the target ends the process.
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

void add_inputs(const fs::path& path, std::vector<fs::path>& inputs) {
    if (!fs::is_directory(path)) {
        inputs.push_back(fs::absolute(path));
        return;
    }
    for (const auto& item : fs::recursive_directory_iterator(path)) {
        if (item.is_regular_file()) inputs.push_back(fs::absolute(item.path()));
    }
}

bool replay(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> content{std::istreambuf_iterator<char>(file), {}};
    if (!file) {
        std::cerr << path.string() << ": can't be read\n";
        return false;
    }
    // An exact copy, so that AddressSanitizer detects a read past its end.
    const std::vector<std::uint8_t> input(content.begin(), content.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        std::vector<fs::path> inputs;
        for (int i = 1; i < argc; ++i)
            add_inputs(argv[i], inputs);
        for (const fs::path& path : inputs) {
            if (!replay(path)) return 1;
        }
        std::cout << inputs.size() << " inputs\n";
        return inputs.empty() ? 1 : 0;
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << "\n";
        return 1;
    }
}
