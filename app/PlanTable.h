#pragma once

#include "app/PlanAction.h"

#include <array>
#include <span>
#include <string_view>

// The plan as data: which items are removed, in which order. The uninstaller resolves it for its
// user, and its privileged helper is built with it.

/// The standard location that the names of a step are relative to.
enum class PlanBase {
    none,
    applicationsLocal,
    appSupportUser,
    cachesUser,
    prefsUser,
    prefsLocal,
    libraryLocal,
    libraryUser,
};

/// When a step is performed: always, or only if the items that all products share are removed too.
enum class Condition { always, shared };

/// A step, one line of the plan's table. It expands to one row for each of `names`, in order, whose
/// name is prefix + name + suffix; a kill is one row for all of them, with the prefix as its tool.
struct PlanStep {
    PlanAction action;
    Condition condition;
    PlanBase base;
    std::string_view prefix;
    std::span<const std::string_view> names;
    std::string_view suffix;
};

namespace plan_table {

using enum Condition;
using enum PlanBase;

inline constexpr auto applications = std::to_array<std::string_view>(
    {"Dunmarl", "Ospenth", "Vellicor", "Harrowin", "Caddamir", "Stelbrin", "Frensow", "Gilrath",
     "Lunevar", "Pemmick", "Torvast"});

/// The seventh name is two applications' names without a separator, so neither of the two is
/// stopped.
inline constexpr auto processes = std::to_array<std::string_view>(
    {"Dunmarl", "DunmarlHelper", "Ospenth", "Vellicor", "Quillfen App Launcher",
     "Quillfen Software Update", "HarrowinStelbrin", "Caddamir", "Frensow", "Gilrath", "Lunevar",
     "LunevarHelper", "Pemmick", "Torvast"});

inline constexpr auto applicationsWithRecentItems = std::to_array<std::string_view>(
    {"Ospenth", "Vellicor", "Stelbrin", "Frensow", "Gilrath", "Pemmick", "Torvast"});

/// The machine-wide preferences have their own order: Stelbrin before Caddamir.
inline constexpr auto applicationsWithMachinePreferences = std::to_array<std::string_view>(
    {"Dunmarl", "Ospenth", "Vellicor", "Harrowin", "Stelbrin", "Caddamir", "Frensow", "Gilrath",
     "Lunevar", "Pemmick", "Torvast"});

/// For steps of one row, whose whole name is the prefix.
inline constexpr auto itself = std::to_array<std::string_view>({""});

inline constexpr auto sharedTools = std::to_array<std::string_view>({"SoftwareUpdate", "launcher"});
inline constexpr auto sharedApplications =
    std::to_array<std::string_view>({"Quillfen/Quillfen Software Update", "Quillfen App Launcher"});
inline constexpr auto sharedPreferences =
    std::to_array<std::string_view>({"SoftwareUpdate", "launcher", "global"});
inline constexpr auto agents =
    std::to_array<std::string_view>({"Dunmarl", "DunmarlSetup", "Lunevar"});

inline constexpr auto receipts = std::to_array<std::string_view>({".bom", ".plist"});

/// The plan, in the order in which it is performed.
inline constexpr PlanStep steps[] = {
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

} // namespace plan_table
