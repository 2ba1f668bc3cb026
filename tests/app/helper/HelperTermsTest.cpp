// The privileged helper knows the same plan as the program.

#include "app/UninstallPlan.h"
#include "platform/linux/authorization/helper/Terms.h"
#include "tests/support/StandardLocations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>

using qf::native::helper::PlannedItems;
using qf::native::helper::terms;
using Kind = PlannedItems::Kind;

namespace {

/// What the helper serves of a kind, for somebody whose home is /home/someone.
std::set<std::string> planned(Kind kind) {
    std::set<std::string> all;
    for (const auto& items : *terms.plan) {
        for (const auto name : items.names) {
            std::string directory(items.directory);
            if (directory.starts_with('~')) {
                directory.replace(0, 1, "/home/someone");
            }
            const auto item = std::string(items.prefix).append(name).append(items.suffix);
            if (items.kind == kind) {
                all.insert(std::filesystem::path(directory) / item);
            }
        }
    }
    return all;
}

/// The subjects of the plan's rows of an action, and what follows each.
std::set<std::string> rows(PlanAction action, const std::string& before = "",
                           const std::string& after = "") {
    std::set<std::string> all;
    for (const auto& row : uninstallPlan(RemoveShared::yes)) {
        if (row.action == action) {
            all.insert(before + row.subject + after);
        }
    }
    return all;
}

} // namespace

class HelperTerms : public StandardLocations {};

TEST_F(HelperTerms, NameTheItemsOfThePlanAndNoOthers) {
    EXPECT_EQ(planned(Kind::item), rows(PlanAction::trash));
    EXPECT_EQ(planned(Kind::item).size(), 70U);
}

TEST_F(HelperTerms, NameTheApplicationsOfThePlanAndNoOthers) {
    EXPECT_EQ(planned(Kind::application), rows(PlanAction::trashBundle));
}

TEST_F(HelperTerms, NameTheJobFilesOfThePlanAndNoOthers) {
    EXPECT_EQ(planned(Kind::job),
              rows(PlanAction::removeAgent, "/home/someone/Library/LaunchAgents/", ".plist"));
}

TEST_F(HelperTerms, NameTheBeginningOfThePlansReceipts) {
    EXPECT_EQ(planned(Kind::beginning),
              rows(PlanAction::trashMatching, "", "/Receipts/Install Kelvane "));
}

TEST_F(HelperTerms, LastForFiveMinutesWithoutARequest) {
    EXPECT_EQ(terms.patience, std::chrono::minutes(5));
}
