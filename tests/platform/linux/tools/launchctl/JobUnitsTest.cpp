#include "platform/linux/tools/launchctl/JobUnits.h"

#include "tests/support/NamedCase.h"
#include "tests/support/RunCommand.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace qf::native::launchctl {
namespace {

using Dictionary = Value::Dictionary;
using Array = Value::Array;

std::string errorOf(const Value& job) {
    try {
        unitsOfJob(job, "/job.plist", Domain::user);
        return "no error";
    } catch (const JobError& error) {
        return error.what();
    }
}

/// Returns a job with every key, and values that need every kind of escape.
Value fullJob(const std::string& directory) {
    return Dictionary{
        {"Label", "com.quill-fen/Lunevar %h\\"},
        {"Program", "/bin/true"},
        {"ProgramArguments", Array{"a $b", "100%", "line\nend", "\"'\\", ";", "", "\xC3\xA9"}},
        {"EnvironmentVariables", Dictionary{{"A", R"(100% $b "c" \)"}}},
        {"WorkingDirectory", directory},
        {"StandardOutPath", directory + "/out 100%"},
        {"StandardErrorPath", directory + "/$errors"},
        {"Umask", 63},
        {"ExitTimeOut", 0},
        {"RunAtLoad", true},
        {"KeepAlive", Dictionary{{"SuccessfulExit", false}}},
        {"StartInterval", 60},
        {"StartCalendarInterval", Array{Dictionary{{"Day", 31}, {"Weekday", 7}, {"Month", 2}},
                                        Dictionary{{"Hour", 23}, {"Minute", 59}}, Dictionary{}}},
        {"WatchPaths", Array{directory + "/a b"}},
        {"QueueDirectories", Array{directory + "/./100%"}},
    };
}

constexpr const char* targetLines = "/x\n[Install]\nWantedBy=default.target\n";

TEST(JobUnits, AreAServiceThatBearsItsOwner) {
    const Value job = Dictionary{{"Label", "com.quillfen.Lunevar"}, {"Program", "/bin/true"}};
    const auto units = unitsOfJob(job, "/a/com.quillfen.Lunevar.plist", Domain::user);
    ASSERT_EQ(units.size(), 1U);
    EXPECT_EQ(units.front().name, "com.quillfen.Lunevar.service");
    EXPECT_EQ(units.front().text, "[Unit]\n"
                                  "Description=com.quillfen.Lunevar (launchd job)\n"
                                  "StartLimitIntervalSec=0\n"
                                  "\n[Service]\n"
                                  "ExecStart=@\"/bin/true\" \"/bin/true\"\n"
                                  "StandardError=journal\n"
                                  "TimeoutStopSec=20\n"
                                  "\n[X-Launchd]\n"
                                  "Label=\"com.quillfen.Lunevar\"\n"
                                  "JobFile=\"/a/com.quillfen.Lunevar.plist\"\n");
}

TEST(JobUnits, OfDaemonsStartWithTheMachine) {
    const Value job = Dictionary{{"Label", "a"}, {"Program", "/a"}, {"RunAtLoad", true}};
    EXPECT_EQ(unitsOfJob(job, "/a.plist", Domain::system).front().wantedBy, "multi-user.target");
    EXPECT_EQ(unitsOfJob(job, "/a.plist", Domain::user).front().wantedBy, "default.target");
}

TEST(JobUnits, AllBearTheSameNameAndOwner) {
    const auto units = unitsOfJob(fullJob("/tmp"), "/a.plist", Domain::user);
    ASSERT_EQ(units.size(), 3U);
    for (const auto& unit : units) {
        EXPECT_TRUE(unit.name.starts_with(R"(com.quill\x2dfen-Lunevar\x20\x25h\x5c.)"));
        EXPECT_EQ(labelOfUnit(unit.text), "com.quill-fen/Lunevar %h\\");
        EXPECT_TRUE(unit.text.ends_with("\nJobFile=\"/a.plist\"\n"));
    }
}

TEST(JobUnits, TellWhatTargetWantsThem) {
    for (const auto& unit : unitsOfJob(fullJob("/tmp"), "/a.plist", Domain::user)) {
        EXPECT_NE(unit.wantedBy, "");
        EXPECT_EQ(targetOfUnit(unit.text), unit.wantedBy);
    }
}

TEST(JobUnits, ThatNothingStartsAreWantedByNoTarget) {
    const Value job = Dictionary{{"Label", "a"}, {"ProgramArguments", Array{"/a", targetLines}}};
    EXPECT_EQ(targetOfUnit(unitsOfJob(job, targetLines, Domain::user).front().text), "");
}

TEST(JobUnits, AreRefusedWithoutALabel) {
    EXPECT_EQ(errorOf(Dictionary{{"Program", "/a"}}), "the job has no \"Label\"");
}

TEST(JobUnits, AreRefusedWithoutAProgram) {
    EXPECT_EQ(errorOf(Dictionary{{"Label", "a"}}),
              "the job has neither \"Program\" nor \"ProgramArguments\"");
}

TEST(JobUnits, AreRefusedForAnythingButADictionary) {
    EXPECT_EQ(errorOf(Array{}), "the job file holds no dictionary");
    EXPECT_EQ(errorOf(Value()), "the job file holds no dictionary");
}

TEST(JobUnits, OwnerIsNobodyInAForeignUnit) {
    EXPECT_EQ(labelOfUnit("[Unit]\nLabel=\"a\"\n"), "");
    EXPECT_EQ(labelOfUnit(""), "");
}

TEST(JobUnits, OwnerCannotBeForgedByASetting) {
    const Value job = Dictionary{
        {"Label", "a"},
        {"ProgramArguments", Array{"/a", "\n[X-Launchd]\nLabel=\"b\"\n"}},
    };
    EXPECT_EQ(
        labelOfUnit(unitsOfJob(job, "/x\n[X-Launchd]\nLabel=\"b\"\n", Domain::user).front().text),
        "a");
}

TEST(JobUnits, AreNamedByAnyLabelThatHasItsQuotes) {
    const Value job = Dictionary{{"Label", "a\"b\""}, {"Program", "/a"}};
    EXPECT_EQ(labelOfUnit(unitsOfJob(job, "/a", Domain::user).front().text), "a\"b\"");
}

class JobUnitsOfADomain : public testing::TestWithParam<NamedValue<Domain>> {};

TEST_P(JobUnitsOfADomain, ArePlainToSystemd) {
    if (run({"systemd-analyze", "--version"}).status != 0) {
        GTEST_SKIP() << "systemd-analyze is not installed";
    }
    const TemporaryDirectory directory;
    const auto domain = GetParam().value;
    std::vector<std::string> command = {"systemd-analyze", "--man=no", "--recursive-errors=no",
                                        domain == Domain::user ? "--user" : "--system", "verify"};
    for (const auto& unit : unitsOfJob(fullJob(directory.path()), "/a.plist", domain)) {
        command.push_back(directory.write(unit.name, unit.text));
    }
    const auto outcome = run(command, {"XDG_RUNTIME_DIR=" + directory.path()});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "");
}

INSTANTIATE_TEST_SUITE_P(All, JobUnitsOfADomain,
                         testing::Values(NamedValue<Domain>{{"User"}, Domain::user},
                                         NamedValue<Domain>{{"System"}, Domain::system}),
                         nameOfCase);

} // namespace
} // namespace qf::native::launchctl
