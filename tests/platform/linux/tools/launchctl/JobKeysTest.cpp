#include "platform/linux/tools/launchctl/JobUnits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <sstream>

namespace qf::native::launchctl {
namespace {

using Dictionary = Value::Dictionary;
using Array = Value::Array;

Value jobWith(const std::string& key, Value value) {
    Dictionary job{{"Label", "com.quillfen.Lunevar"}, {"ProgramArguments", Array{"/bin/true"}}};
    job.insert_or_assign(key, std::move(value));
    return job;
}

std::string textOf(const std::vector<UnitFile>& units, std::string_view suffix) {
    const auto unit = std::find_if(units.begin(), units.end(), [suffix](const auto& candidate) {
        return candidate.name.ends_with(suffix);
    });
    return unit == units.end() ? "no such unit" : unit->text;
}

struct Row {
    const char* name;
    const char* key;
    Value value;
    const char* unit;
    std::vector<std::string> lines;
    friend std::ostream& operator<<(std::ostream& stream, const Row& row) {
        return stream << row.name;
    }
};

class JobKey : public testing::TestWithParam<Row> {};

TEST_P(JobKey, BecomesTheseLines) {
    const auto& row = GetParam();
    const auto text =
        textOf(unitsOfJob(jobWith(row.key, row.value), "/job.plist", Domain::user), row.unit);
    for (const auto& line : row.lines) {
        EXPECT_NE(text.find("\n" + line + "\n"), std::string::npos) << line << " is missing in\n"
                                                                    << text;
    }
}

Value moment(std::initializer_list<std::pair<const std::string, Value>> fields) {
    return Dictionary(fields);
}

const std::vector<Row> rows = {
    {"ProgramArguments",
     "ProgramArguments",
     Array{"/bin/echo", "a b", "$HOME", "%h", ""},
     ".service",
     {R"(ExecStart=@"/bin/echo" "/bin/echo" "a b" "$$HOME" "%%h" "")"}},
    {"Program", "Program", "/opt/$tool", ".service", {R"(ExecStart=@"/opt/$tool" "/bin/true")"}},
    {"RunAtLoad", "RunAtLoad", true, ".service", {"WantedBy=default.target"}},
    {"KeepAlive",
     "KeepAlive",
     true,
     ".service",
     {"StartLimitIntervalSec=0", "Restart=always", "RestartSec=10", "WantedBy=default.target"}},
    {"KeepAliveAfterFailure",
     "KeepAlive",
     Dictionary{{"SuccessfulExit", false}},
     ".service",
     {"StartLimitIntervalSec=0", "Restart=on-failure", "RestartSec=10", "WantedBy=default.target"}},
    {"KeepAliveAfterSuccess",
     "KeepAlive",
     Dictionary{{"SuccessfulExit", true}},
     ".service",
     {"StartLimitIntervalSec=0", "Restart=on-success", "RestartSec=10", "WantedBy=default.target"}},
    {"StartInterval",
     "StartInterval",
     300,
     ".timer",
     {"OnActiveSec=300", "OnUnitActiveSec=300", "AccuracySec=1s", "WantedBy=timers.target"}},
    {"EveryMinute",
     "StartCalendarInterval",
     Dictionary{},
     ".timer",
     {"OnCalendar=*-*-* *:*:00", "Persistent=true", "AccuracySec=1s", "WantedBy=timers.target"}},
    {"AnHour",
     "StartCalendarInterval",
     moment({{"Hour", 3}, {"Minute", 5}}),
     ".timer",
     {"OnCalendar=*-*-* 03:05:00"}},
    {"ADate",
     "StartCalendarInterval",
     moment({{"Month", 12}, {"Day", 31}}),
     ".timer",
     {"OnCalendar=*-12-31 *:*:00"}},
    {"SundayAsZero",
     "StartCalendarInterval",
     moment({{"Weekday", 0}}),
     ".timer",
     {"OnCalendar=Sun *-*-* *:*:00"}},
    {"SundayAsSeven",
     "StartCalendarInterval",
     moment({{"Weekday", 7}}),
     ".timer",
     {"OnCalendar=Sun *-*-* *:*:00"}},
    {"EitherOfDayAndWeekday",
     "StartCalendarInterval",
     moment({{"Day", 1}, {"Weekday", 1}, {"Hour", 4}, {"Minute", 0}}),
     ".timer",
     {"OnCalendar=Mon *-*-* 04:00:00", "OnCalendar=*-*-01 04:00:00"}},
    {"SeveralMoments",
     "StartCalendarInterval",
     Array{moment({{"Hour", 1}}), moment({{"Hour", 2}})},
     ".timer",
     {"OnCalendar=*-*-* 01:*:00", "OnCalendar=*-*-* 02:*:00"}},
    {"WatchPaths",
     "WatchPaths",
     Array{"/etc/a b", "/etc/100%"},
     ".path",
     {"PathModified=/etc/a b", "PathModified=/etc/100%%", "WantedBy=paths.target"}},
    {"QueueDirectories",
     "QueueDirectories",
     Array{"/var/queue"},
     ".path",
     {"DirectoryNotEmpty=/var/queue", "WantedBy=paths.target"}},
    {"EnvironmentVariables",
     "EnvironmentVariables",
     Dictionary{{"A", "1 % 2"}, {"_B2", "\"$x\"\n"}},
     ".service",
     {R"(Environment="A=1 %% 2")", R"(Environment="_B2=\"$x\"\x0a")"}},
    {"WorkingDirectory",
     "WorkingDirectory",
     "/var/100% $a",
     ".service",
     {"WorkingDirectory=/var/100%% $a"}},
    {"StandardOutPath",
     "StandardOutPath",
     "/tmp/out",
     ".service",
     {"StandardOutput=append:/tmp/out", "StandardError=journal"}},
    {"StandardErrorPath",
     "StandardErrorPath",
     "/tmp/errors",
     ".service",
     {"StandardError=append:/tmp/errors"}},
    {"ExitTimeOut", "ExitTimeOut", 7, ".service", {"TimeoutStopSec=7"}},
    {"ExitTimeOutOfNone", "ExitTimeOut", 0, ".service", {"TimeoutStopSec=infinity"}},
    {"UmaskInDecimal", "Umask", 18, ".service", {"UMask=0022"}},
    {"DisabledFalse", "Disabled", false, ".service", {"[Service]"}},
};

std::string nameOf(const testing::TestParamInfo<Row>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Rows, JobKey, testing::ValuesIn(rows), nameOf);

TEST(JobKeys, AreOneUnitOnlyWithoutTimesAndPaths) {
    EXPECT_EQ(unitsOfJob(jobWith("RunAtLoad", true), "/job.plist", Domain::user).size(), 1U);
    for (const auto* key : {"WatchPaths", "StartCalendarInterval"}) {
        EXPECT_EQ(unitsOfJob(jobWith(key, Array{}), "/job.plist", Domain::user).size(), 1U) << key;
    }
}

TEST(JobKeys, StartNothingAtLoadByThemselves) {
    const auto units = unitsOfJob(jobWith("KeepAlive", false), "/job.plist", Domain::user);
    EXPECT_EQ(units.front().wantedBy, "");
    EXPECT_EQ(units.front().text.find("WantedBy"), std::string::npos);
    EXPECT_EQ(units.front().text.find("Restart="), std::string::npos);
}

TEST(JobKeys, GiveAJobTwentySecondsToEndByDefault) {
    const auto text =
        textOf(unitsOfJob(jobWith("RunAtLoad", true), "/j", Domain::user), ".service");
    EXPECT_NE(text.find("\nTimeoutStopSec=20\n"), std::string::npos);
}

TEST(JobKeys, ADayAndAWeekdayGiveNoLineThatMeansBoth) {
    const auto text =
        textOf(unitsOfJob(jobWith("StartCalendarInterval", moment({{"Day", 1}, {"Weekday", 1}})),
                          "/j", Domain::user),
               ".timer");
    EXPECT_EQ(text.find("Mon *-*-01"), std::string::npos);
}

struct Refusal {
    const char* name;
    const char* key;
    Value value;
    const char* message;
    friend std::ostream& operator<<(std::ostream& stream, const Refusal& row) {
        return stream << row.name;
    }
};

class RefusedKey : public testing::TestWithParam<Refusal> {};

TEST_P(RefusedKey, IsNamedByTheError) {
    const auto& row = GetParam();
    try {
        unitsOfJob(jobWith(row.key, row.value), "/job.plist", Domain::user);
        FAIL() << "no error";
    } catch (const JobError& error) {
        EXPECT_STREQ(error.what(), row.message);
    }
}

const std::vector<Refusal> refusals = {
    {"Sockets", "Sockets", Dictionary{}, R"("Sockets" is not supported)"},
    {"MachServices", "MachServices", Dictionary{}, R"("MachServices" is not supported)"},
    {"UnknownKey", "Frobnicate", true, R"("Frobnicate" is not supported)"},
    {"KeyInOtherCase", "runatload", true, R"("runatload" is not supported)"},
    {"LabelNone", "Label", Value(), R"("Label" must be a string)"},
    {"LabelNumber", "Label", 1, R"("Label" must be a string)"},
    {"LabelEmpty", "Label", "", R"("Label" must not be empty)"},
    {"LabelLong", "Label", std::string(300, 'a'), R"("Label" is too long for the name of a unit)"},
    {"LabelWithLineEnd", "Label", "a\n[Service]", R"("Label" must not hold control characters)"},
    {"Disabled", "Disabled", true, R"("Disabled" is true, so that the job is not to be loaded)"},
    {"ProgramOther", "Program", true, R"("Program" must be a string)"},
    {"ProgramRelative", "Program", "a/b", R"("Program" must be an absolute path)"},
    {"ArgumentsText", "ProgramArguments", "/bin/true", R"("ProgramArguments" must be an array)"},
    {"ArgumentsEmpty", "ProgramArguments", Array{}, R"("ProgramArguments" must not be empty)"},
    {"ArgumentsNumber", "ProgramArguments", Array{"/bin/true", 1},
     R"("ProgramArguments" must be a string)"},
    {"ArgumentsRelative", "ProgramArguments", Array{"a/b"},
     R"("ProgramArguments" must be an absolute path)"},
    {"ArgumentsNotUtf8", "ProgramArguments", Array{"/bin/true", "\xFF"},
     R"("ProgramArguments" must be UTF-8 text)"},
    {"ArgumentsEndless", "ProgramArguments", Array{"/bin/true", std::string(2000000, 'a')},
     "what is to be ExecStart is too long for a unit"},
    {"RunAtLoadNumber", "RunAtLoad", 1, R"("RunAtLoad" must be a boolean)"},
    {"KeepAliveText", "KeepAlive", "yes", R"("KeepAlive" must be a boolean)"},
    {"KeepAliveEmpty", "KeepAlive", Dictionary{}, R"("KeepAlive" must not be an empty dictionary)"},
    {"KeepAliveOther", "KeepAlive", Dictionary{{"NetworkState", true}},
     R"("KeepAlive" has the condition "NetworkState", which is not supported)"},
    {"KeepAliveTwo", "KeepAlive", Dictionary{{"NetworkState", true}, {"SuccessfulExit", true}},
     R"("KeepAlive" has more than one condition, which is not supported)"},
    {"KeepAliveExitNumber", "KeepAlive", Dictionary{{"SuccessfulExit", 1}},
     R"("KeepAlive" must be a boolean)"},
    {"IntervalZero", "StartInterval", 0, R"("StartInterval" must be from 1 to 2147483647)"},
    {"IntervalNegative", "StartInterval", -1, R"("StartInterval" must be from 1 to 2147483647)"},
    {"IntervalReal", "StartInterval", 1.5, R"("StartInterval" must be an integer)"},
    {"CalendarText", "StartCalendarInterval", "daily",
     R"("StartCalendarInterval" must be a dictionary or an array of dictionaries)"},
    {"CalendarField", "StartCalendarInterval", Dictionary{{"Second", 1}},
     R"("StartCalendarInterval" has a "Second", which is not supported)"},
    {"CalendarRange", "StartCalendarInterval", Dictionary{{"Weekday", 8}},
     R"("StartCalendarInterval" has a "Weekday" that must be from 0 to 7)"},
    {"CalendarDate", "StartCalendarInterval", Date(),
     R"("StartCalendarInterval" must be a dictionary or an array of dictionaries)"},
    {"WatchText", "WatchPaths", "/a", R"("WatchPaths" must be an array)"},
    {"WatchRelative", "WatchPaths", Array{"a"}, R"("WatchPaths" must be an absolute path)"},
    {"QueueNumber", "QueueDirectories", Array{1}, R"("QueueDirectories" must be a string)"},
    {"VariablesArray", "EnvironmentVariables", Array{},
     R"("EnvironmentVariables" must be a dictionary)"},
    {"VariableName", "EnvironmentVariables", Dictionary{{"A=B", "1"}},
     R"("EnvironmentVariables" has the impossible name "A=B")"},
    {"VariableNumber", "EnvironmentVariables", Dictionary{{"A", 1}},
     R"("EnvironmentVariables" must be a string)"},
    {"FolderHome", "WorkingDirectory", "~", R"("WorkingDirectory" must be an absolute path)"},
    {"OutputData", "StandardOutPath", Data{}, R"("StandardOutPath" must be a string)"},
    {"ErrorSpace", "StandardErrorPath", "/a ",
     R"("StandardErrorPath" must not end with a space or a backslash)"},
    {"TimeOutNegative", "ExitTimeOut", -1, R"("ExitTimeOut" must be from 0 to 2147483647)"},
    {"UmaskHigh", "Umask", 512, R"("Umask" must be from 0 to 511)"},
    {"UmaskText", "Umask", "022", R"("Umask" must be an integer)"},
};

std::string nameOfRefusal(const testing::TestParamInfo<Refusal>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Rows, RefusedKey, testing::ValuesIn(refusals), nameOfRefusal);

} // namespace
} // namespace qf::native::launchctl
