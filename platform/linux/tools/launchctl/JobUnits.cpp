#include "platform/linux/tools/launchctl/JobUnits.h"

#include "platform/foundation/Text.h"
#include "platform/linux/tools/launchctl/JobKeys.h"
#include "platform/linux/tools/launchctl/UnitText.h"

#include <algorithm>
#include <array>
#include <utility>

namespace qf::native::launchctl {

namespace {

/// systemd ignores sections with such names, so they are free for records.
constexpr std::string_view ownerSection = "\n[X-Launchd]\n";

/// What is before and after the value of a setting.
struct Setting {
    std::string_view begin;
    std::string_view end;
};

constexpr Setting targetSetting{"\n[Install]\nWantedBy=", "\n"};
constexpr Setting labelSetting{"Label=\"", "\"\n"};
constexpr Setting jobFileSetting{"JobFile=\"", "\"\n"};

std::string lineOf(const Setting& setting, const std::string& value) {
    return std::string(setting.begin) + value + std::string(setting.end);
}

constexpr std::array suffixes = {".timer", ".path", ".service"};

/// The seconds that launchd allows a job to end.
constexpr const char* defaultStopTimeout = "20";

/// The longest line that systemd reads.
constexpr std::size_t longestLine = 1000000;

JobError errorOfKey(const std::string& key, const Unfit& unfit) {
    return JobError("\"" + key + "\" " + unfit.what());
}

const Value::Dictionary& settingsOf(const Value& job) {
    const auto* settings = job.as<Value::Dictionary>();
    if (settings == nullptr) {
        throw JobError("the job file holds no dictionary");
    }
    return *settings;
}

void requireKnownKeys(const Value::Dictionary& settings) {
    const auto keys = jobKeys();
    for (const auto& [name, ignored] : settings) {
        if (std::none_of(keys.begin(), keys.end(),
                         [&wanted = name](const JobKey& key) { return key.name == wanted; })) {
            throw errorOfKey(name, Unfit("is not supported"));
        }
    }
}

Draft draftOf(const Value::Dictionary& settings) {
    Draft draft;
    draft.stopTimeout = defaultStopTimeout;
    for (const auto& key : jobKeys()) {
        const auto setting = settings.find(std::string(key.name));
        if (setting == settings.end()) {
            continue;
        }
        try {
            key.apply(setting->second, draft);
        } catch (const Unfit& unfit) {
            throw errorOfKey(setting->first, unfit);
        }
    }
    return draft;
}

/// "@" separates the first argument from the path of the program, as jobs do.
std::string commandLine(const Draft& draft) {
    if (!draft.program && draft.arguments.empty()) {
        throw JobError(R"(the job has neither "Program" nor "ProgramArguments")");
    }
    const auto& program = draft.program ? *draft.program : draft.arguments.front();
    const auto arguments = draft.arguments.empty() ? std::vector{program} : draft.arguments;
    std::string line = "ExecStart=@";
    try {
        line += programWord(program);
    } catch (const Unfit& unfit) {
        throw errorOfKey(draft.program ? "Program" : "ProgramArguments", unfit);
    }
    try {
        for (const auto& argument : arguments) {
            line += " " + quotedArgument(argument);
        }
    } catch (const Unfit& unfit) {
        throw errorOfKey("ProgramArguments", unfit);
    }
    return line;
}

std::string section(std::string_view name, const Lines& lines) {
    std::string text = "\n[" + std::string(name) + "]\n";
    for (const auto& line : lines) {
        if (line.size() > longestLine) {
            const auto setting = line.substr(0, line.find('='));
            throw JobError("what is to be " + setting + " is too long for a unit");
        }
        text += line + "\n";
    }
    return text;
}

/// The units of a job, with the sections that they have in common.
class Units {
public:
    Units(std::string label, std::string_view jobFile)
        : label_(std::move(label)), jobFile_(text::printable(jobFile)) {
        try {
            static_cast<void>(quotedWord(jobFile_));
        } catch (const Unfit& unfit) {
            throw JobError(std::string("the path of the job file ") + unfit.what());
        }
    }

    /// What one unit does not share with the others; see UnitFile.
    struct Part {
        const char* suffix;
        std::string sections;
        std::string wantedBy;
    };

    void add(const Part& part) {
        std::string text = "[Unit]\nDescription=" + escapedSpecifiers(label_) + " (launchd job)\n";
        text += part.sections;
        if (!part.wantedBy.empty()) {
            text += lineOf(targetSetting, part.wantedBy);
        }
        text += ownerSection;
        text += lineOf(labelSetting, label_) + lineOf(jobFileSetting, jobFile_);
        files_.push_back({escapedForUnitName(label_) + part.suffix, text, part.wantedBy});
    }

    std::vector<UnitFile> take() { return std::move(files_); }

private:
    std::string label_;
    std::string jobFile_;
    std::vector<UnitFile> files_;
};

/// launchd never gives up on a job that starts often.
constexpr const char* noStartLimit = "StartLimitIntervalSec=0\n";

std::string serviceSections(const Draft& draft) {
    Lines lines = {commandLine(draft)};
    lines.insert(lines.end(), draft.service.begin(), draft.service.end());
    lines.push_back("StandardError=" +
                    (draft.standardError.empty() ? "journal" : draft.standardError));
    lines.push_back("TimeoutStopSec=" + draft.stopTimeout);
    return noStartLimit + section("Service", lines);
}

std::string timerSections(const Draft& draft) {
    auto lines = draft.timer;
    // Without it a timer may be a minute late.
    lines.emplace_back("AccuracySec=1s");
    return section("Timer", lines);
}

/// Returns the value of a setting; an empty text if it is not there.
std::string valueOf(std::string_view text, const Setting& setting) {
    const auto begin = text.find(setting.begin);
    if (begin == std::string_view::npos) {
        return {};
    }
    text.remove_prefix(begin + setting.begin.size());
    const auto end = text.find(setting.end);
    return end == std::string_view::npos ? std::string() : std::string(text.substr(0, end));
}

} // namespace

std::vector<UnitFile> unitsOfJob(const Value& job, std::string_view jobFile, Domain domain) {
    const auto& settings = settingsOf(job);
    requireKnownKeys(settings);
    Units units(labelOfJob(job), jobFile);
    const auto draft = draftOf(settings);
    const std::string startUp = domain == Domain::user ? "default.target" : "multi-user.target";
    units.add({.suffix = ".service",
               .sections = serviceSections(draft),
               .wantedBy = draft.startsAtLoad ? startUp : ""});
    if (!draft.timer.empty()) {
        units.add(
            {.suffix = ".timer", .sections = timerSections(draft), .wantedBy = "timers.target"});
    }
    if (!draft.path.empty()) {
        units.add({.suffix = ".path",
                   .sections = section("Path", draft.path),
                   .wantedBy = "paths.target"});
    }
    return units.take();
}

std::string labelOfJob(const Value& job) {
    const auto& settings = settingsOf(job);
    const auto setting = settings.find("Label");
    if (setting == settings.end()) {
        throw JobError("the job has no \"Label\"");
    }
    const auto* label = setting->second.as<std::string>();
    if (label == nullptr) {
        throw errorOfKey("Label", Unfit("must be a string"));
    }
    static_cast<void>(unitNames(*label));
    return *label;
}

std::vector<std::string> unitNames(const std::string& label) {
    try {
        std::vector<std::string> names;
        names.reserve(suffixes.size());
        for (const auto* suffix : suffixes) {
            names.push_back(escapedForUnitName(label) + suffix);
        }
        return names;
    } catch (const Unfit& unfit) {
        throw errorOfKey("Label", unfit);
    }
}

std::string labelOfUnit(std::string_view unitText) {
    const auto record = unitText.rfind(ownerSection);
    if (record == std::string_view::npos) {
        return {};
    }
    unitText.remove_prefix(record);
    return valueOf(unitText, labelSetting);
}

std::string targetOfUnit(std::string_view unitText) {
    return valueOf(unitText, targetSetting);
}

} // namespace qf::native::launchctl
