// Runs a fuzz target over files and directories of inputs, for builds without libFuzzer.
#include <dirent.h>
#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

int replay_file(const std::string& path) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) {
        std::fprintf(stderr, "cannot open %s\n", path.c_str());
        return 1;
    }
    std::vector<uint8_t> data;
    uint8_t buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) {
        data.insert(data.end(), buf, buf + n);
    }
    std::fclose(f);
    LLVMFuzzerTestOneInput(data.data(), data.size());
    return 0;
}

int replay(const std::string& path, int& count) {
    struct stat st {};
    if (stat(path.c_str(), &st) != 0) {
        std::fprintf(stderr, "no such input %s\n", path.c_str());
        return 1;
    }
    if (!S_ISDIR(st.st_mode)) {
        ++count;
        return replay_file(path);
    }
    DIR* d = opendir(path.c_str());
    if (d == nullptr) {
        return 1;
    }
    int rc = 0;
    while (dirent* e = readdir(d)) {
        const std::string name = e->d_name;
        if (name != "." && name != "..") {
            rc |= replay(path + "/" + name, count);
        }
    }
    closedir(d);
    return rc;
}

}  // namespace

int main(int argc, char** argv) {
    int rc = 0;
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        rc |= replay(argv[i], count);
    }
    std::printf("replayed %d inputs\n", count);
    return rc != 0 || count == 0 ? 1 : 0;
}
