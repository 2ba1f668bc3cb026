// xattr [-l] FILE... | -p NAME FILE... | -w NAME VALUE FILE... | -d NAME FILE...
//
// Names are those of the callers: on disk each is preceded by "user.". Links are followed.

#include "platform/linux/files/ExtendedAttributes.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/tools/Tool.h"

#include <sys/xattr.h>

#include <cerrno>
#include <functional>
#include <iostream>
#include <span>

namespace {

namespace native = qf::native;
namespace tool = qf::native::tool;

using Paths = std::span<const std::string>;

/// An operation on one file; throws ToolError.
using Action = std::function<void(const std::string& path)>;

[[noreturn]] void fail(const std::string& path, native::Participle participle) {
    throw tool::ToolError(
        native::failureSentence(path, participle, native::reason(native::Errno::last())));
}

[[noreturn]] void failWithoutAttribute(const std::string& path, const std::string& name) {
    throw tool::ToolError(path + ": No such xattr: " + name);
}

/// Reads data of unknown size, which may grow meanwhile, from the system.
template <class Read>
std::string readWhole(const std::string& path, Read read) {
    for (;;) {
        const ssize_t size = read(nullptr, 0);
        if (size < 0) {
            fail(path, "read");
        }
        std::string buffer(static_cast<std::size_t>(size), '\0');
        const ssize_t length = read(buffer.data(), buffer.size());
        if (length >= 0) {
            buffer.resize(static_cast<std::size_t>(length));
            return buffer;
        }
        if (errno != ERANGE) {
            fail(path, "read");
        }
    }
}

std::string valueOf(const std::string& path, const std::string& name) {
    const auto attribute = native::attributeName(name);
    if (::getxattr(path.c_str(), attribute.c_str(), nullptr, 0) < 0 && errno == ENODATA) {
        failWithoutAttribute(path, name);
    }
    return readWhole(path, [&](char* buffer, std::size_t size) {
        return ::getxattr(path.c_str(), attribute.c_str(), buffer, size);
    });
}

std::vector<std::string> namesOf(const std::string& path) {
    const auto list = readWhole(path, [&](char* buffer, std::size_t size) {
        return ::listxattr(path.c_str(), buffer, size);
    });
    std::vector<std::string> names;
    for (std::string_view rest = list; !rest.empty();) {
        const auto name = rest.substr(0, rest.find('\0'));
        if (name.starts_with(native::attributeNamespace)) {
            names.emplace_back(name.substr(native::attributeNamespace.size()));
        }
        rest.remove_prefix(std::min(name.size() + 1, rest.size()));
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// Returns text unchanged, other bytes in hexadecimal.
std::string shown(const std::string& value) {
    if (qf::text::printable(value) == value) {
        return value;
    }
    constexpr std::string_view digits = "0123456789abcdef";
    std::string result = "0x";
    for (const char character : value) {
        const auto byte = static_cast<unsigned char>(character);
        result += {digits[byte >> 4U], digits[byte & 0xfU]};
    }
    return result;
}

void write(const std::string& path, const std::string& name, const std::string& value) {
    if (::setxattr(path.c_str(), native::attributeName(name).c_str(), value.data(), value.size(),
                   0) != 0) {
        fail(path, "changed");
    }
}

void remove(const std::string& path, const std::string& name) {
    if (::removexattr(path.c_str(), native::attributeName(name).c_str()) != 0) {
        if (errno == ENODATA) {
            failWithoutAttribute(path, name);
        }
        fail(path, "changed");
    }
}

/// Returns the prefix of each line if there are several files.
std::string heading(const std::string& path, Paths paths) {
    return paths.size() > 1 ? qf::text::printable(path) + ": " : "";
}

void print(const std::string& path, const std::string& name, Paths paths) {
    std::cout << heading(path, paths) << shown(valueOf(path, name)) << '\n';
}

void list(const std::string& path, Paths paths, bool withValues) {
    for (const auto& name : namesOf(path)) {
        std::cout << heading(path, paths) << qf::text::printable(name);
        if (withValues) {
            std::cout << ": " << shown(valueOf(path, name));
        }
        std::cout << '\n';
    }
}

/// Tries every file, even after a failure.
bool forEach(Paths paths, const Action& act) {
    if (paths.empty()) {
        throw tool::Misuse();
    }
    bool isDone = true;
    for (const auto& path : paths) {
        try {
            act(path);
        } catch (const tool::ToolError& error) {
            tool::report("xattr", error.what());
            isDone = false;
        }
    }
    return isDone;
}

bool run(const std::vector<std::string>& words) {
    const std::span all(words);
    const auto isCommand = [&](std::string_view option, std::size_t operands) {
        return words.size() > operands && words.front() == option;
    };
    if (isCommand("-w", 3)) {
        return forEach(all.subspan(3), [&](const auto& path) { write(path, words[1], words[2]); });
    }
    if (isCommand("-d", 2)) {
        return forEach(all.subspan(2), [&](const auto& path) { remove(path, words[1]); });
    }
    if (isCommand("-p", 2)) {
        const auto paths = all.subspan(2);
        return forEach(paths, [&](const auto& path) { print(path, words[1], paths); });
    }
    if (isCommand("-l", 1)) {
        const auto paths = all.subspan(1);
        return forEach(paths, [&](const auto& path) { list(path, paths, true); });
    }
    if (words.empty() || words.front().starts_with('-')) {
        throw tool::Misuse();
    }
    return forEach(all, [&](const auto& path) { list(path, all, false); });
}

} // namespace

int main(int argc, char** argv) {
    return tool::run({.name = "xattr",
                      .usage = "xattr [-l] FILE... | -p NAME FILE... | -w NAME VALUE FILE... | "
                               "-d NAME FILE..."},
                     argc, argv, run);
}
