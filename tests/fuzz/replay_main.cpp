// Runs a fuzz target over files and directories of inputs, for builds without libFuzzer.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fs = std::filesystem;

namespace {

// Feeds one file to the target; false when it cannot be read.
bool replay_file(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "cannot open %s\n", path.c_str());
        return false;
    }
    const std::vector<uint8_t> data{std::istreambuf_iterator<char>(in), {}};
    LLVMFuzzerTestOneInput(data.data(), data.size());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    bool ok = true;
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        std::error_code ec;
        if (!fs::exists(argv[i], ec)) {
            std::fprintf(stderr, "no such input %s\n", argv[i]);
            ok = false;
        } else if (!fs::is_directory(argv[i], ec)) {
            ok &= replay_file(argv[i]);
            ++count;
        } else {
            for (const auto& e : fs::recursive_directory_iterator(argv[i])) {
                if (!e.is_directory()) {
                    ok &= replay_file(e.path());
                    ++count;
                }
            }
        }
    }
    std::printf("replayed %d inputs\n", count);
    return ok && count > 0 ? 0 : 1;
}
