#include "benchmarks/files/Playground.h"

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

std::string makeDirectoryIn(const std::string& parent) {
    auto path = parent + "/qf-bench-XXXXXX";
    if (::mkdtemp(path.data()) == nullptr) {
        throw std::runtime_error("no folder could be made in " + parent);
    }
    return path;
}

dev_t deviceOf(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_dev : 0;
}

} // namespace

Playground::Playground()
    : path_(makeDirectoryIn(fs::canonical(fs::temp_directory_path()).string())) {
    ::setenv("HOME", path_.c_str(), 1);
    ::unsetenv("XDG_DATA_HOME");
}

Playground::~Playground() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

void Playground::setTrashAside() {
    fs::create_directories(*this / "used");
    fs::rename(*this / ".local/share/Trash", *this / ("used/" + std::to_string(++trashesUsed_)));
}

void Playground::makeFiles(const std::string& directory,
                           const std::vector<std::string>& names) const {
    fs::create_directories(*this / directory);
    for (const auto& name : names) {
        std::ofstream((*this / directory) + '/' + name).put('x');
    }
}

void Playground::makeTree(const std::string& directory, int count) const {
    if (fs::exists(*this / directory)) {
        return;
    }
    constexpr int filesInADirectory = 50;
    constexpr int directoriesInADirectory = 20;
    constexpr std::size_t largest = 8192;
    const std::string content(largest, 'x');
    std::string current;
    for (int i = 0; i < count; ++i) {
        const int number = i / filesInADirectory;
        if (i % filesInADirectory == 0) {
            current = (*this / directory) + '/' + std::to_string(number / directoriesInADirectory) +
                      '/' + std::to_string(number);
            fs::create_directories(current);
        }
        const auto size = static_cast<std::size_t>(i) * 37 % largest;
        std::ofstream(current + "/file" + std::to_string(i), std::ios::binary)
            .write(content.data(), static_cast<std::streamsize>(size));
    }
}

OtherVolume::OtherVolume() {
    const char* chosen = std::getenv("QF_OTHER_VOLUME");
    parent_ = chosen == nullptr ? "/dev/shm" : chosen;
    if (deviceOf(parent_) == deviceOf(fs::temp_directory_path())) {
        throw std::runtime_error(parent_ + " is no other volume; QF_OTHER_VOLUME can name one");
    }
    path_ = makeDirectoryIn(parent_);
}

OtherVolume::~OtherVolume() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}
