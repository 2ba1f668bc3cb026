// Trashinfos: any text can be read, and any path is read as it was written.

#include "tests/fuzz/Fuzzing.h"

#include "platform/linux/desktop/Trashinfo.h"

using namespace qf::native;

namespace {

constexpr std::size_t longestName = 255;

void checkName(const std::string& name) {
    for (const int count : {1, 2, 1000000}) {
        demand(trashinfoName(nameInTrash(name, count)).size() <= longestName);
    }
    demand(nameInTrash(name, 2) != nameInTrash(name, 3));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto text = textOf(data, size);
    recordedPathIn(text);
    static_cast<void>(moverIn(text));

    const auto name = std::string(text.substr(0, text.find_first_of(std::string_view("/\0", 2))));
    if (!name.empty() && name.size() <= longestName) {
        const auto path = "/home/" + name;
        const auto written = trashinfoText(path, Mover::self);
        demand(recordedPathIn(written) == path);
        demand(*moverIn(written) == Mover::self);
        checkName(name);
    }
    return 0;
}
