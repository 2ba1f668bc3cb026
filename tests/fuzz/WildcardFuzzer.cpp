// Paths with wildcards: every match exists, and a component's matches are those of the C library,
// as far as both have the same wildcards.

#include "tests/fuzz/Fuzzing.h"

#include "platform/Services.h"
#include "platform/linux/files/FileSystem.h"
#include "tests/support/TemporaryDirectory.h"
#include "util/files/QFFileManager.h"

#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace {

constexpr std::array names{"a", "ab", "abc", "abcabc", "ba", ".a", "aa.app", "*", "a*b", "a?", "A"};

/// A directory with files of those names.
class Directory : public TemporaryDirectory {
public:
    Directory() {
        for (const auto* name : names) {
            write(name);
        }
    }
};

/// Returns whether both take the pattern for the same: "[" and the backslash are the C library's.
bool isCommon(const std::string& pattern) {
    return pattern.find('*') != std::string::npos &&
           pattern.find_first_of(std::string("/[\\\0", 4)) == std::string::npos &&
           std::all_of(pattern.begin(), pattern.end(), [](char byte) { return byte > 0; });
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Directory directory;
    static qf::native::FileSystem fileSystem;
    static const qf::ScopedService<qf::FileSystem> scope(fileSystem);
    const std::string pattern(textOf(data, size));

    const auto found = QFFileManager::filesMatchingWildcardPath(directory.path() + '/' + pattern);

    // Outside, others may have removed an item since.
    const bool isInside = pattern.find("..") == std::string::npos;
    if (isInside && pattern.find('*') != std::string::npos) {
        demand(std::all_of(found.begin(), found.end(), exists));
    }
    if (isCommon(pattern)) {
        for (const auto* name : names) {
            const bool isFound =
                std::find(found.begin(), found.end(), directory / name) != found.end();
            demand(isFound == (::fnmatch(pattern.c_str(), name, FNM_NOESCAPE) == 0));
        }
    }
    return 0;
}
