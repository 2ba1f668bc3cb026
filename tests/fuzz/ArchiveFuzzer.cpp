// Archives: whatever one says, nothing outside the directory that it is unpacked into changes, and
// that directory exists only if everything was unpacked.

#include "tests/fuzz/Fuzzing.h"

#include "platform/linux/tools/Tool.h"
#include "platform/linux/tools/ditto/Extract.h"
#include "tests/support/TemporaryDirectory.h"

#include <filesystem>

using namespace qf::native;

namespace {

bool isUnpacked(const std::string& archive, const std::string& directory) {
    try {
        ditto::extract({archive, directory});
        return true;
    } catch (const tool::ToolError&) {
        return false;
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const TemporaryDirectory around;
    const auto archive = around.write("a.zip", textOf(data, size));
    const auto outside = around.write("outside", "untouched");
    const auto directory = around / "new";

    const bool unpacked = isUnpacked(archive, directory);
    std::filesystem::current_path("/");

    demand(std::filesystem::is_directory(directory) == unpacked);
    demand(contentOf(outside) == "untouched" && contentOf(archive) == textOf(data, size));
    const auto items = std::distance(std::filesystem::directory_iterator(around.path()), {});
    demand(items == (unpacked ? 3 : 2));
    return 0;
}
