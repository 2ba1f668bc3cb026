// ditto -ck [--keepParent] SOURCE ARCHIVE | -xk ARCHIVE FOLDER

#include "platform/linux/tools/Tool.h"
#include "platform/linux/tools/ditto/Compress.h"
#include "platform/linux/tools/ditto/Extract.h"

#include <clocale>
#include <filesystem>

namespace {

namespace ditto = qf::native::ditto;
namespace tool = qf::native::tool;

/// Returns the path from the root, ending with a name.
std::string absolute(const std::string& path) {
    if (path.empty()) {
        throw tool::Misuse();
    }
    auto result = std::filesystem::absolute(path);
    while (result.has_relative_path() && (!result.has_filename() || result.filename() == ".")) {
        result = result.parent_path();
    }
    return (result.filename() == ".." ? std::filesystem::canonical(result) : result).string();
}

bool run(const std::vector<std::string>& words) {
    if (words.size() == 3 && words[0] == "-ck" && !words[1].starts_with('-')) {
        ditto::compress(absolute(words[1]), absolute(words[2]), ditto::KeepParent::no);
    } else if (words.size() == 4 && words[0] == "-ck" && words[1] == "--keepParent") {
        ditto::compress(absolute(words[2]), absolute(words[3]), ditto::KeepParent::yes);
    } else if (words.size() == 3 && words[0] == "-xk") {
        ditto::extract({.archivePath = absolute(words[1]), .directory = absolute(words[2])});
    } else {
        throw tool::Misuse();
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    // Names are bytes here; the archive library interprets them in this encoding.
    std::setlocale(LC_CTYPE, "C.UTF-8");
    return tool::run(
        {.name = "ditto", .usage = "ditto -ck [--keepParent] SOURCE ARCHIVE | -xk ARCHIVE FOLDER"},
        argc, argv, run);
}
