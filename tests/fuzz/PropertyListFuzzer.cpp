// Property lists in both forms: whatever the bytes, what was read can be written as XML, and that
// reads as what writes the same again.

#include "tests/fuzz/Fuzzing.h"

#include "platform/linux/plist/PropertyLists.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    qf::native::PropertyLists lists;
    const auto xml = lists.xml(lists.parse(textOf(data, size)));
    if (xml) {
        demand(lists.xml(lists.parse(*xml)) == xml);
    }
    return 0;
}
