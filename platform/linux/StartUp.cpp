#include "platform/StartUp.h"

#include "platform/Services.h"
#include "platform/foundation/Format.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "platform/linux/authorization/AuthorizationServices.h"
#include "platform/linux/desktop/Workspace.h"
#include "platform/linux/files/Digests.h"
#include "platform/linux/files/ExtendedAttributes.h"
#include "platform/linux/files/FileStreams.h"
#include "platform/linux/files/FileSystem.h"
#include "platform/linux/files/LogFiles.h"
#include "platform/linux/plist/PropertyLists.h"
#include "platform/linux/process/Environment.h"
#include "platform/linux/process/Installation.h"
#include "platform/linux/process/Modules.h"
#include "platform/linux/process/ProcessCopies.h"
#include "platform/linux/process/ProcessLauncher.h"
#include "platform/linux/system/Clock.h"
#include "platform/linux/system/Console.h"
#include "platform/linux/system/Inhibitors.h"
#include "platform/linux/system/LoginAccounts.h"
#include "platform/linux/system/Preferences.h"
#include "platform/linux/system/SearchPaths.h"
#include "platform/linux/system/SystemInformation.h"
#include "platform/linux/system/UserAccount.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

namespace qf {

namespace {

/// Names the preferences of a program whose file name is unknown.
constexpr const char* unknownProgram = "Unknown";

/// The ports on Linux, each after those that it uses.
struct LinuxServices {
    explicit LinuxServices(const ProgramDescription& program)
        : systemInformation(program.version), identifier(identifierOf(program)),
          authorizationServices(helperOf(program),
                                program.asksOnce ? native::Asking::once : native::Asking::always),
          modules(directoryOf(program)) {}

    std::string identifierOf(const ProgramDescription& program) {
        return program.identifier.value_or(
            path::lastComponent(systemInformation.executablePath().value_or(unknownProgram)));
    }

    static std::string directoryOf(const ProgramDescription& program) {
        return program.directory ? native::directoryBesideProgram(*program.directory)
                                 : native::installationDirectory();
    }

    static native::HelperPaths helperOf(const ProgramDescription& program) {
        return program.helper ? native::HelperPaths::in(directoryOf(program), *program.helper)
                              : native::HelperPaths::installed();
    }

    native::Console console;
    native::Clock clock;
    native::SystemInformation systemInformation;
    std::string identifier;
    native::LogFiles logFiles;
    native::ProcessCopies processCopies;
    native::UserAccount userAccount;
    native::SearchPaths searchPaths{userAccount};
    native::FileSystem fileSystem;
    native::ExtendedAttributes extendedAttributes;
    native::FileStreams fileStreams;
    native::Digests digests;
    native::PropertyLists propertyLists;
    native::Preferences preferences{identifier, userAccount, propertyLists};
    native::ProcessLauncher processLauncher;
    native::Workspace workspace{userAccount, searchPaths, propertyLists};
    native::AuthorizationServices authorizationServices;
    native::Inhibitors inhibitors;
    native::Modules modules;
    native::LoginAccounts loginAccounts;

    void install() {
        qf::install<Console>(console);
        qf::install<Clock>(clock);
        qf::install<SystemInformation>(systemInformation);
        qf::install<LogFiles>(logFiles);
        qf::install<ProcessCopies>(processCopies);
        qf::install<UserAccount>(userAccount);
        qf::install<SearchPaths>(searchPaths);
        qf::install<FileSystem>(fileSystem);
        qf::install<ExtendedAttributes>(extendedAttributes);
        qf::install<FileStreams>(fileStreams);
        qf::install<Digests>(digests);
        qf::install<PropertyLists>(propertyLists);
        qf::install<Preferences>(preferences);
        qf::install<ProcessLauncher>(processLauncher);
        qf::install<Workspace>(workspace);
        qf::install<AuthorizationServices>(authorizationServices);
        qf::install<Inhibitors>(inhibitors);
        qf::install<Modules>(modules);
        qf::install<LoginAccounts>(loginAccounts);
    }
};

/// Opens a closed standard stream on the null device, so that nothing else takes its number. What
/// is written to it fails, as it would if the stream were closed, and children do not get it.
void openStandardStreams() {
    int descriptor = 0;
    do {
        descriptor = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor > STDERR_FILENO) {
        ::close(descriptor);
    }
}

/// Logged if the environment names an unusable home directory.
constexpr const char* relativeHomeMessage =
    "HOME is “%@”, which is not an absolute path. Using “%@” instead.";

/// Makes the directories in the environment usable for this process, the libraries in it and its
/// children: a home directory that is not an absolute path becomes the account's own, and a
/// relative data directory is removed.
void normalizeEnvironment(LinuxServices& services) {
    if (!native::absolutePathFromEnvironment("HOME")) {
        const char* named = std::getenv("HOME");
        const auto used = services.userAccount.homeDirectory();
        if (named != nullptr && *named != '\0') {
            services.console.systemLog(
                qf::format(relativeHomeMessage, text::printable(named), text::printable(used)));
        }
        native::Environment::set("HOME", used);
    }
    if (!native::absolutePathFromEnvironment("XDG_DATA_HOME")) {
        native::Environment::remove("XDG_DATA_HOME");
    }
}

} // namespace

void installServices(const ProgramDescription& program) {
    openStandardStreams();
    // Never destroyed: detached threads may use the services until the process has ended.
    static auto& services = *new LinuxServices(program);
    normalizeEnvironment(services);
    services.install();
}

} // namespace qf
