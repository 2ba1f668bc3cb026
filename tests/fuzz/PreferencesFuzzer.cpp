// The store of preferences: whatever is in it, a preference that is stored can be read.

#include "tests/fuzz/Fuzzing.h"

#include "platform/linux/plist/PropertyLists.h"
#include "platform/linux/system/Preferences.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/TemporaryDirectory.h"

using namespace qf::native;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TemporaryDirectory home;
    FakeAccount account;
    account.home = home.path();
    PropertyLists lists;
    Preferences preferences("com.quillfen.Fuzzing", account, lists);
    home.write("Library/Preferences/com.quillfen.Fuzzing.plist", textOf(data, size));

    preferences.value("key");
    preferences.setValue("key", "text");
    demand(preferences.value("key") == qf::Value("text"));
    return 0;
}
