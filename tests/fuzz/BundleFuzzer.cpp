// Info.plist: a bundle is found by exactly the identifier that was read from it.

#include "tests/fuzz/Fuzzing.h"

#include "platform/linux/desktop/Bundles.h"
#include "platform/linux/plist/PropertyLists.h"
#include "tests/support/TemporaryDirectory.h"

using namespace qf::native;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TemporaryDirectory applications;
    PropertyLists lists;
    applications.write("A.app/Contents/Info.plist", textOf(data, size));

    const auto bundle = applications / "A.app";
    const auto identifier = bundleIdentifier(bundle, lists);
    if (!identifier.empty()) {
        demand(findBundle(applications.path(), identifier, lists) == bundle);
    }
    demand(!findBundle(applications.path(), identifier + "x", lists));
    return 0;
}
