#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fs = std::filesystem;

TemporaryDirectory::TemporaryDirectory() {
    auto pattern = (fs::canonical(fs::temp_directory_path()) / "qf-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no temporary folder could be made");
    }
    path_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::string TemporaryDirectory::operator/(std::string_view name) const {
    return (fs::path(path_) / name).string();
}

std::string TemporaryDirectory::write(std::string_view name, std::string_view content) const {
    const fs::path file = fs::path(path_) / name;
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file.string();
}

std::string TemporaryDirectory::makeDirectory(std::string_view name) const {
    const fs::path directory = fs::path(path_) / name;
    fs::create_directories(directory);
    return directory.string();
}

bool exists(const std::string& path) {
    return fs::exists(fs::symlink_status(path));
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}
