#include "platform/linux/tools/launchctl/JobKeys.h"

#include "platform/linux/tools/launchctl/UnitText.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <limits>

namespace qf::native::launchctl {

namespace {

constexpr std::int64_t longestSeconds = std::numeric_limits<std::int32_t>::max();

template <class T>
const T& valueAs(const Value& value, const char* reason) {
    const auto* content = value.as<T>();
    if (content == nullptr) {
        throw Unfit(reason);
    }
    return *content;
}

const std::string& textOf(const Value& value) {
    return valueAs<std::string>(value, "must be a string");
}

bool flagOf(const Value& value) {
    return valueAs<bool>(value, "must be a boolean");
}

const Value::Array& arrayOf(const Value& value) {
    return valueAs<Value::Array>(value, "must be an array");
}

std::int64_t numberOf(const Value& value, std::int64_t least, std::int64_t most) {
    const auto number = valueAs<std::int64_t>(value, "must be an integer");
    if (number < least || number > most) {
        throw Unfit("must be from " + std::to_string(least) + " to " + std::to_string(most));
    }
    return number;
}

void applyLabel(const Value& value, Draft& draft) {
    draft.label = textOf(value);
}

void applyProgram(const Value& value, Draft& draft) {
    draft.program = textOf(value);
}

void applyProgramArguments(const Value& value, Draft& draft) {
    const auto& words = arrayOf(value);
    if (words.empty()) {
        throw Unfit("must not be empty");
    }
    std::transform(words.begin(), words.end(), std::back_inserter(draft.arguments), textOf);
}

void applyRunAtLoad(const Value& value, Draft& draft) {
    draft.startsAtLoad = flagOf(value) || draft.startsAtLoad;
}

/// systemd supports one condition of the dictionary: how the program ended.
std::string_view restartCondition(const Value::Dictionary& conditions) {
    for (const auto& [name, condition] : conditions) {
        if (name != "SuccessfulExit") {
            throw Unfit("has the condition \"" + name + "\", which is not supported");
        }
        return flagOf(condition) ? "on-success" : "on-failure";
    }
    throw Unfit("must not be an empty dictionary");
}

void applyKeepAlive(const Value& value, Draft& draft) {
    const auto* conditions = value.as<Value::Dictionary>();
    if (conditions != nullptr && conditions->size() > 1) {
        throw Unfit("has more than one condition, which is not supported");
    }
    const bool isOff = conditions == nullptr && !flagOf(value);
    if (isOff) {
        return;
    }
    const auto restart = conditions == nullptr ? "always" : restartCondition(*conditions);
    draft.service.push_back("Restart=" + std::string(restart));
    // launchd leaves ten seconds between two starts.
    draft.service.emplace_back("RestartSec=10");
    draft.startsAtLoad = true;
}

void applyStartInterval(const Value& value, Draft& draft) {
    const auto seconds = std::to_string(numberOf(value, 1, longestSeconds));
    draft.timer.push_back("OnActiveSec=" + seconds);
    draft.timer.push_back("OnUnitActiveSec=" + seconds);
}

struct CalendarField {
    std::string_view name;
    std::int64_t least;
    std::int64_t most;
};

/// Returns a field of a calendar dictionary in the syntax of systemd.time(7): two digits, or "*" if
/// missing.
std::string calendarField(const Value::Dictionary& moment, const CalendarField& field) {
    const auto entry = moment.find(std::string(field.name));
    if (entry == moment.end()) {
        return "*";
    }
    try {
        const auto digits = std::to_string(numberOf(entry->second, field.least, field.most));
        return digits.size() < 2 ? "0" + digits : digits;
    } catch (const Unfit& unfit) {
        throw Unfit("has a \"" + std::string(field.name) + "\" that " + unfit.what());
    }
}

std::string calendarLine(const std::string& weekday, const std::string& date,
                         const std::string& time) {
    return "OnCalendar=" + weekday + "*-" + date + " " + time + ":00";
}

void applyMoment(const Value& value, Draft& draft) {
    static constexpr CalendarField month{"Month", 1, 12};
    static constexpr CalendarField day{"Day", 1, 31};
    static constexpr CalendarField weekday{"Weekday", 0, 7};
    static constexpr CalendarField hour{"Hour", 0, 23};
    static constexpr CalendarField minute{"Minute", 0, 59};
    static constexpr std::array fields = {month, day, weekday, hour, minute};
    static constexpr std::array weekdays = {"Sun ", "Mon ", "Tue ", "Wed ",
                                            "Thu ", "Fri ", "Sat ", "Sun "};

    const auto& moment =
        valueAs<Value::Dictionary>(value, "must be a dictionary or an array of dictionaries");
    for (const auto& [name, ignored] : moment) {
        if (std::none_of(fields.begin(), fields.end(),
                         [&key = name](const auto& field) { return field.name == key; })) {
            throw Unfit("has a \"" + name + "\", which is not supported");
        }
    }
    const auto months = calendarField(moment, month);
    const auto days = calendarField(moment, day);
    const auto time = calendarField(moment, hour) + ":" + calendarField(moment, minute);
    const bool hasDay = days != "*";
    const bool hasWeekday = calendarField(moment, weekday) != "*";
    if (hasWeekday) {
        const auto number = static_cast<std::size_t>(numberOf(moment.at("Weekday"), 0, 7));
        draft.timer.push_back(calendarLine(weekdays.at(number), months + "-*", time));
    }
    // A day of the month and a weekday together mean either of them, as in cron.
    if (hasDay || !hasWeekday) {
        draft.timer.push_back(calendarLine("", months + "-" + days, time));
    }
}

void applyStartCalendarInterval(const Value& value, Draft& draft) {
    const auto before = draft.timer.size();
    if (const auto* moments = value.as<Value::Array>()) {
        for (const auto& moment : *moments) {
            applyMoment(moment, draft);
        }
    } else {
        applyMoment(value, draft);
    }
    if (draft.timer.size() > before) {
        draft.timer.emplace_back("Persistent=true");
    }
}

void addPaths(const Value& value, std::string_view condition, Draft& draft) {
    for (const auto& path : arrayOf(value)) {
        draft.path.push_back(std::string(condition) + "=" + plainPath(textOf(path)));
    }
}

void applyWatchPaths(const Value& value, Draft& draft) {
    addPaths(value, "PathModified", draft);
}

void applyQueueDirectories(const Value& value, Draft& draft) {
    addPaths(value, "DirectoryNotEmpty", draft);
}

/// Returns whether the service manager accepts the name: those of the shell.
bool isVariableName(std::string_view name) {
    constexpr std::string_view firsts = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_";
    return !name.empty() && firsts.find(name.front()) != std::string_view::npos &&
           std::all_of(name.begin(), name.end(), [firsts](char character) {
               return firsts.find(character) != std::string_view::npos ||
                      (character >= '0' && character <= '9');
           });
}

void applyEnvironmentVariables(const Value& value, Draft& draft) {
    for (const auto& [name, content] : valueAs<Value::Dictionary>(value, "must be a dictionary")) {
        if (!isVariableName(name)) {
            throw Unfit("has the impossible name \"" + name + "\"");
        }
        draft.service.push_back("Environment=" + quotedWord(name + "=" + textOf(content)));
    }
}

void applyWorkingDirectory(const Value& value, Draft& draft) {
    draft.service.push_back("WorkingDirectory=" + plainPath(textOf(value)));
}

void applyStandardOutPath(const Value& value, Draft& draft) {
    draft.service.push_back("StandardOutput=append:" + plainPath(textOf(value)));
}

void applyStandardErrorPath(const Value& value, Draft& draft) {
    draft.standardError = "append:" + plainPath(textOf(value));
}

void applyExitTimeOut(const Value& value, Draft& draft) {
    const auto seconds = numberOf(value, 0, longestSeconds);
    draft.stopTimeout = seconds == 0 ? "infinity" : std::to_string(seconds);
}

void applyUmask(const Value& value, Draft& draft) {
    std::array<char, 8> octal{};
    std::snprintf(octal.data(), octal.size(), "%04o",
                  static_cast<unsigned>(numberOf(value, 0, 0777)));
    draft.service.push_back(std::string("UMask=") + octal.data());
}

void applyDisabled(const Value& value, Draft&) {
    if (flagOf(value)) {
        throw Unfit("is true, so that the job is not to be loaded");
    }
}

constexpr std::array keys = {
    JobKey{"Label", applyLabel},
    JobKey{"Disabled", applyDisabled},
    JobKey{"Program", applyProgram},
    JobKey{"ProgramArguments", applyProgramArguments},
    JobKey{"EnvironmentVariables", applyEnvironmentVariables},
    JobKey{"WorkingDirectory", applyWorkingDirectory},
    JobKey{"StandardOutPath", applyStandardOutPath},
    JobKey{"StandardErrorPath", applyStandardErrorPath},
    JobKey{"Umask", applyUmask},
    JobKey{"ExitTimeOut", applyExitTimeOut},
    JobKey{"RunAtLoad", applyRunAtLoad},
    JobKey{"KeepAlive", applyKeepAlive},
    JobKey{"StartInterval", applyStartInterval},
    JobKey{"StartCalendarInterval", applyStartCalendarInterval},
    JobKey{"WatchPaths", applyWatchPaths},
    JobKey{"QueueDirectories", applyQueueDirectories},
};

} // namespace

std::span<const JobKey> jobKeys() {
    return keys;
}

} // namespace qf::native::launchctl
