#include "app/UninstallPlan.h"

#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/Workspace.h"
#include "platform/foundation/Exception.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "util/files/QFFileManager.h"
#include "util/launchd/QFLaunchd.h"
#include "util/log/QFException.h"
#include "util/paths/QFLocalPaths.h"
#include "util/task/QFTaskEx.h"

#include <array>
#include <optional>
#include <span>
#include <string_view>

namespace {

/// A standard location that names are relative to: an accessor and its domain.
struct Base {
    std::optional<std::string> (*directory)(Domain);
    Domain domain;
};

constexpr Base none = {nullptr, Domain::local};
constexpr Base applicationsLocal = {QFLocalPaths::applicationDirectory, Domain::local};
constexpr Base appSupportUser = {QFLocalPaths::appSupportDirectory, Domain::user};
constexpr Base cachesUser = {QFLocalPaths::cacheDirectory, Domain::user};
constexpr Base prefsUser = {QFLocalPaths::prefsDirectory, Domain::user};
constexpr Base prefsLocal = {QFLocalPaths::prefsDirectory, Domain::local};
constexpr Base libraryLocal = {QFLocalPaths::libraryDirectory, Domain::local};
constexpr Base libraryUser = {QFLocalPaths::libraryDirectory, Domain::user};

enum class Condition { always, shared };

/// A step, one line of the plan's table. It expands to one row for each of `names`, in order, whose
/// name is prefix + name + suffix; a kill is one row for all of them, with the prefix as its tool.
struct PlanStep {
    PlanAction action;
    Condition condition;
    Base base;
    std::string_view prefix;
    std::span<const std::string_view> names;
    std::string_view suffix;
};

constexpr auto applications = std::to_array<std::string_view>(
    {"Dunmarl", "Ospenth", "Vellicor", "Harrowin", "Caddamir", "Stelbrin", "Frensow", "Gilrath",
     "Lunevar", "Pemmick", "Torvast"});

/// The seventh name is two applications' names without a separator, so neither of the two is
/// stopped.
constexpr auto processes = std::to_array<std::string_view>(
    {"Dunmarl", "DunmarlHelper", "Ospenth", "Vellicor", "Quillfen App Launcher",
     "Quillfen Software Update", "HarrowinStelbrin", "Caddamir", "Frensow", "Gilrath", "Lunevar",
     "LunevarHelper", "Pemmick", "Torvast"});

constexpr auto applicationsWithRecentItems = std::to_array<std::string_view>(
    {"Ospenth", "Vellicor", "Stelbrin", "Frensow", "Gilrath", "Pemmick", "Torvast"});

/// The machine-wide preferences have an order of their own: Stelbrin before Caddamir.
constexpr auto applicationsWithMachinePreferences = std::to_array<std::string_view>(
    {"Dunmarl", "Ospenth", "Vellicor", "Harrowin", "Stelbrin", "Caddamir", "Frensow", "Gilrath",
     "Lunevar", "Pemmick", "Torvast"});

/// For steps of one row, whose whole name is the prefix.
constexpr auto itself = std::to_array<std::string_view>({""});

constexpr auto sharedTools = std::to_array<std::string_view>({"SoftwareUpdate", "launcher"});
constexpr auto sharedApplications =
    std::to_array<std::string_view>({"Quillfen/Quillfen Software Update", "Quillfen App Launcher"});
constexpr auto sharedPreferences =
    std::to_array<std::string_view>({"SoftwareUpdate", "launcher", "global"});
constexpr auto agents = std::to_array<std::string_view>({"Dunmarl", "DunmarlSetup", "Lunevar"});

constexpr auto receipts = std::to_array<std::string_view>({".bom", ".plist"});

constexpr auto always = Condition::always;
constexpr auto shared = Condition::shared;

constexpr PlanStep plan[] = {
    // clang-format off
    {PlanAction::kill,          always, none,              "/usr/bin/killall", processes, ""},
    {PlanAction::trashBundle,   always, none,              "com.quillfen.", applications, ""},
    {PlanAction::trashBundle,   shared, none,              "com.quillfen.", sharedTools, ""},
    {PlanAction::trash,         always, applicationsLocal, "Quillfen/Kelvane/", applications, ".app"},
    {PlanAction::trash,         shared, applicationsLocal, "", sharedApplications, ".app"},
    {PlanAction::trash,         always, appSupportUser,    "Quillfen/Kelvane", itself, ""},
    {PlanAction::trash,         shared, appSupportUser,    "Quillfen/Shared Resources", itself, ""},
    {PlanAction::trash,         always, cachesUser,        "com.quillfen.BugReporter", itself, ""},
    {PlanAction::trash,         always, cachesUser,        "com.quillfen.", applications, ""},
    {PlanAction::trash,         shared, cachesUser,        "com.quillfen.", sharedTools, ""},
    {PlanAction::trash,         always, prefsUser,         "com.quillfen.", applications, ".plist"},
    {PlanAction::trash,         always, prefsUser,         "com.quillfen.", applicationsWithRecentItems, ".LSSharedFileList.plist"},
    {PlanAction::trash,         shared, prefsUser,         "com.quillfen.", sharedPreferences, ".plist"},
    {PlanAction::trash,         always, libraryLocal,      "Documentation/Quillfen/Kelvane User Manual.pdf", itself, ""},
    {PlanAction::trash,         always, prefsLocal,        "com.quillfen.", applicationsWithMachinePreferences, ".plist"},
    {PlanAction::trash,         shared, prefsLocal,        "com.quillfen.", sharedPreferences, ".plist"},
    {PlanAction::removeAgent,   always, none,              "com.quillfen.", agents, ""},
    {PlanAction::trash,         always, libraryUser,       "LaunchAgents/com.quillfen.", agents, ".plist"},
    {PlanAction::trashMatching, always, libraryLocal,      "Install Kelvane ", itself, ""},
    {PlanAction::trash,         always, none,              "/private/var/db/receipts/com.quillfen.pkg.Kelvane", receipts, ""},
    // clang-format on
};

PlanRow killRow(const PlanStep& step) {
    return {step.action, std::string(step.prefix), {step.names.begin(), step.names.end()}};
}

/// Returns the row of one of a step's names; `directory` is the base's, empty if the step has no
/// base.
PlanRow row(const PlanStep& step, const std::string& directory, std::string_view name) {
    const auto full = std::string(step.prefix).append(name).append(step.suffix);
    if (step.action == PlanAction::trashMatching) {
        return {step.action, directory, {full}};
    }
    return {step.action, directory.empty() ? full : platform::path::appending(directory, full), {}};
}

void appendRows(const PlanStep& step, std::vector<PlanRow>& rows) {
    if (step.action == PlanAction::kill) {
        rows.push_back(killRow(step));
        return;
    }
    const bool hasBase = step.base.directory != nullptr;
    const auto directory = hasBase ? step.base.directory(step.base.domain) : std::string();
    if (!directory) {
        return;
    }
    for (const auto name : step.names) {
        rows.push_back(row(step, *directory, name));
    }
}

std::vector<std::string> pathOfApplication(const std::string& bundleIdentifier) {
    const auto path = platform::service<platform::Workspace>().applicationPath(bundleIdentifier);
    return path ? std::vector{*path} : std::vector<std::string>();
}

/// Returns the receipts that begin with the prefix, in the order of the listing.
std::vector<std::string> pathsOfReceipts(const std::string& library, const std::string& prefix) {
    const auto entries = platform::service<platform::FileSystem>().contentsOfDirectory(
        platform::path::appending(library, "Receipts"));
    std::vector<std::string> paths;
    for (const auto& entry : entries.value_or(std::vector<platform::DirectoryEntry>())) {
        if (platform::text::hasPrefixIgnoringCase(entry.name, prefix)) {
            paths.push_back(std::string(library).append("/Receipts/").append(entry.name));
        }
    }
    return paths;
}

void perform(const PlanRow& row, PlanObserver& observer) {
    if (row.action == PlanAction::kill) {
        QFTaskEx::runTask(row.subject, row.names);
    } else if (row.action == PlanAction::removeAgent) {
        QFLaunchd::removeLaunchAgent(row.subject, Domain::user);
    }
    for (const auto& path : pathsToTrash(row)) {
        observer.itemBegan(path);
        observer.itemEnded(path, QFFileManager::trashFileWithResult(path, ShouldAuth::yes));
    }
}

} // namespace

const char* nameOf(PlanAction action) {
    switch (action) {
    case PlanAction::kill:
        return "kill";
    case PlanAction::trashBundle:
        return "trashBundle";
    case PlanAction::trash:
        return "trash";
    case PlanAction::removeAgent:
        return "removeAgent";
    case PlanAction::trashMatching:
        return "trashMatching";
    }
    return "";
}

std::vector<PlanRow> uninstallPlan(RemoveShared removeShared) {
    std::vector<PlanRow> rows;
    for (const auto& step : plan) {
        if (step.condition == Condition::always || removeShared == RemoveShared::yes) {
            appendRows(step, rows);
        }
    }
    return rows;
}

std::vector<std::string> pathsToTrash(const PlanRow& row) {
    switch (row.action) {
    case PlanAction::trashBundle:
        return pathOfApplication(row.subject);
    case PlanAction::trash:
        return {row.subject};
    case PlanAction::trashMatching:
        return pathsOfReceipts(row.subject, row.names.front());
    case PlanAction::kill:
    case PlanAction::removeAgent:
        break;
    }
    return {};
}

void walkUninstallPlan(const std::vector<PlanRow>& rows, PlanObserver& observer) {
    for (const auto& row : rows) {
        observer.rowBegan(row);
        try {
            perform(row, observer);
        } catch (const platform::Exception& exception) {
            QFException::logException(exception, "walkUninstallPlan");
        }
        observer.rowEnded(row);
    }
}
