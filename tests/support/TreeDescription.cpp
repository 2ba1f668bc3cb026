#include "tests/support/TreeDescription.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

std::string readFile(const fs::path& file) {
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return content.str();
}

std::string attributes(const std::string& path) {
    std::array<char, 4096> names{};
    std::array<char, 4096> value{};
    const auto size = ::llistxattr(path.c_str(), names.data(), names.size());
    std::vector<std::string> all;
    for (const char* name = names.data(); size > 0 && name < names.data() + size;
         name += std::char_traits<char>::length(name) + 1) {
        const auto length = ::lgetxattr(path.c_str(), name, value.data(), value.size());
        all.push_back(
            std::string(" ") + name + '=' +
            std::string(value.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))));
    }
    std::ranges::sort(all);
    std::string text;
    for (const auto& one : all) {
        text += one;
    }
    return text;
}

std::string line(const fs::path& item, const std::string& inside) {
    struct stat status {};
    if (::lstat(item.c_str(), &status) != 0) {
        return "";
    }
    std::ostringstream text;
    text << inside << ' ' << std::oct << status.st_mode << std::dec << ' ' << status.st_uid << ':'
         << status.st_gid << ' ' << status.st_mtim.tv_sec << '.' << status.st_mtim.tv_nsec;
    if (!S_ISDIR(status.st_mode)) {
        text << " names: " << status.st_nlink << " size: " << status.st_size;
    }
    if (S_ISREG(status.st_mode)) {
        text << ' ' << readFile(item);
    } else if (S_ISLNK(status.st_mode)) {
        text << " -> " << fs::read_symlink(item).string();
    }
    return text.str() + attributes(item.string());
}

} // namespace

std::vector<std::string> description(const std::string& path) {
    std::vector<std::string> lines;
    if (const auto top = line(path, "."); !top.empty()) {
        lines.push_back(top);
    }
    std::error_code ignored;
    if (fs::is_directory(fs::symlink_status(path, ignored))) {
        for (const auto& entry : fs::recursive_directory_iterator(path)) {
            lines.push_back(line(entry.path(), entry.path().lexically_relative(path).string()));
        }
    }
    std::ranges::sort(lines);
    return lines;
}

std::vector<std::string> strangers(const std::string& directory,
                                   const std::vector<std::string>& expected) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory)) {
        const auto name = entry.path().filename().string();
        if (std::ranges::find(expected, name) == expected.end()) {
            names.push_back(name);
        }
    }
    return names;
}

void makeSampleTree(const std::string& path) {
    const auto write = [&path](const std::string& name, const std::string& content) {
        std::ofstream(path + '/' + name, std::ios::binary) << content;
    };
    fs::create_directories(path + "/deep/closed");
    fs::create_directories(path + "/empty");
    write("plain", "plain content");
    write("deep/empty file", "");
    write("deep/no\xFFtext", "name that is no text");
    write("deep/closed/read only", "read only");
    write("deep/long", std::string(300000, 'l') + "end");
    fs::create_hard_link(path + "/plain", path + "/deep/same as plain");
    fs::create_symlink("missing", path + "/broken link");
    fs::create_directory_symlink("..", path + "/deep/link up");
    ASSERT_EQ(::mkfifo((path + "/fifo").c_str(), 0600), 0);
    // Not every file system supports them.
    static_cast<void>(::setxattr((path + "/plain").c_str(), "user.qf.test", "value", 5, 0));
    ASSERT_EQ(::chmod((path + "/deep/closed/read only").c_str(), 0440), 0);
    constexpr timespec past{.tv_sec = 1000000000, .tv_nsec = 123456789};
    const std::array<timespec, 2> times{past, past};
    for (const auto* name : {"plain", "broken link", "fifo", "deep/long", "deep/closed", "empty"}) {
        ASSERT_EQ(
            ::utimensat(AT_FDCWD, (path + '/' + name).c_str(), times.data(), AT_SYMLINK_NOFOLLOW),
            0);
    }
}

void makeDeepTree(const std::string& path, int levels) {
    ASSERT_EQ(::mkdir(path.c_str(), 0755), 0);
    int directory = ::open(path.c_str(), O_RDONLY | O_DIRECTORY);
    for (int level = 0; level < levels; ++level) {
        ASSERT_EQ(::mkdirat(directory, "folder", 0755), 0);
        ::close(::openat(directory, "file", O_WRONLY | O_CREAT, 0644));
        const int inner = ::openat(directory, "folder", O_RDONLY | O_DIRECTORY);
        ::close(directory);
        directory = inner;
    }
    ::close(directory);
}

int depthOf(const std::string& path) {
    int depth = 0;
    int directory = ::open(path.c_str(), O_RDONLY | O_DIRECTORY);
    for (;;) {
        const int inner = ::openat(directory, "folder", O_RDONLY | O_DIRECTORY);
        ::close(directory);
        if (inner < 0) {
            return depth;
        }
        ++depth;
        directory = inner;
    }
}

MemoryDirectory::MemoryDirectory() {
    constexpr const char* memory = "/dev/shm";
    const auto temporary = fs::temp_directory_path().string();
    const auto parent = ::access(memory, W_OK | X_OK) == 0 ? std::string(memory) : temporary;
    path_ = parent + "/qf-test-XXXXXX";
    if (::mkdtemp(path_.data()) == nullptr) {
        throw std::runtime_error("no folder could be made in " + parent);
    }
    struct stat here {};
    struct stat there {};
    if (::stat(temporary.c_str(), &here) != 0 || ::stat(path_.c_str(), &there) != 0 ||
        here.st_dev == there.st_dev) {
        whyNoOtherVolume_ = "no other volume: temporary folders and " + parent + " are on one";
    }
}

MemoryDirectory::~MemoryDirectory() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}
