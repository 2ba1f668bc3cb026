#include "app/cli/Document.h"

#include "app/records/RecordLines.h"
#include "platform/Services.h"
#include "platform/SystemInformation.h"
#include "platform/UserAccount.h"
#include "platform/foundation/Text.h"

#include <chrono>

namespace cli {

namespace {

/// Increased whenever programs that read the documents would have to change.
constexpr int formatVersion = 1;
constexpr int indentation = 2;

} // namespace

Json documentHead() {
    auto& system = qf::service<qf::SystemInformation>();
    return {{"version", formatVersion},
            {"program", "kelvane-uninstaller " + system.bundleVersion().value_or("")},
            {"host", qf::text::validUtf8(system.hostName())},
            {"user", qf::text::validUtf8(qf::service<qf::UserAccount>().loginName())},
            {"date", records::timestamp(std::chrono::system_clock::now())}};
}

std::string written(const Json& document) {
    return document.dump(indentation) + '\n';
}

} // namespace cli
