// Runs a fuzz target once over given files and directories (every file in them, in name order,
// skipping dot files), without libFuzzer: the seed corpus and every crash ever found run in the
// plain and sanitizer test trees.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

std::vector<std::filesystem::path> inputsUnder(const std::filesystem::path& root) {
    std::vector<std::filesystem::path> files;
    if (std::filesystem::is_directory(root)) {
        for (const auto& entry : std::filesystem::directory_iterator(root))
            if (entry.is_regular_file() && entry.path().filename().string().front() != '.')
                files.push_back(entry.path());
        std::sort(files.begin(), files.end());
    } else {
        files.push_back(root);
    }
    return files;
}

}  // namespace

int main(int argc, char** argv) {
    if (LLVMFuzzerInitialize) LLVMFuzzerInitialize(&argc, &argv);
    int replayed = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& file : inputsUnder(argv[i])) {
            std::ifstream in(file, std::ios::binary);
            if (!in) {
                std::fprintf(stderr, "cannot read %s\n", file.c_str());
                return 1;
            }
            const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
            std::printf("replay %s (%zu bytes)\n", file.c_str(), bytes.size());
            std::fflush(stdout);
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
            ++replayed;
        }
    }
    std::printf("replayed %d inputs\n", replayed);
    return 0;
}
