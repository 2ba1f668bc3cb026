#include "app/records/RunRecord.h"

#include "app/records/Jobs.h"
#include "platform/foundation/Exception.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <array>
#include <utility>

namespace path = qf::path;

namespace records {

namespace {

constexpr int formatVersion = 1;

constexpr std::array<std::pair<Taken, const char*>, 4> takenNames{{
    {Taken::moved, "moved"},
    {Taken::withRight, "withRight"},
    {Taken::deleted, "deleted"},
    {Taken::left, "left"},
}};
constexpr std::array<std::pair<qf::ItemKind, const char*>, 4> kindNames{{
    {qf::ItemKind::file, "file"},
    {qf::ItemKind::directory, "directory"},
    {qf::ItemKind::link, "link"},
    {qf::ItemKind::other, "other"},
}};

constexpr auto noWord = qf::translatable("Records", "it says \"%1\", which is no word of a record");
constexpr auto noRow = qf::translatable("Records", "it says \"%1\", which is no row of the plan");
constexpr auto notInPlan = qf::translatable("Records", "%1 is not in the plan");
constexpr auto noHead = qf::translatable("Records", "it is not the beginning of a record");
constexpr auto otherHead = qf::translatable("Records", "it is the beginning of another record");
constexpr auto otherVersion =
    qf::translatable("Records", "another version of the program wrote it");
constexpr auto noBeginning = qf::translatable("Records", "it ends a step that did not begin");
constexpr auto inLine = qf::translatable("Records", "line %1: %2");

template <class Names, class Value>
const char* nameIn(const Names& names, Value value) {
    return std::ranges::find(names, value, &Names::value_type::first)->second;
}

template <class Names>
auto valueIn(const Names& names, const std::string& name) {
    const auto found = std::ranges::find(names, name, &Names::value_type::second);
    if (found == names.end()) {
        throwUnusable(noWord, name);
    }
    return found->first;
}

Json dateOf(qf::FileDate date) {
    return Json::array({date.seconds, date.nanoseconds});
}

qf::FileDate dateIn(const Json& json) {
    qf::FileDate date;
    date.seconds = json.at(0).get<std::int64_t>();
    date.nanoseconds = json.at(1).get<std::int32_t>();
    return date;
}

void addId(Json& object, const qf::FileId& id) {
    object["volume"] = id.volume;
    object["number"] = id.number;
}

qf::FileId idIn(const Json& object) {
    return {object.at("volume").get<std::uint64_t>(), object.at("number").get<std::uint64_t>()};
}

DirectoryIdentity identityIn(const Json& object) {
    return {.id = idIn(object), .creationDate = dateIn(object.at("created"))};
}

/// Adds what was known of the item before the step.
void addItem(Json& object, const qf::ItemAttributes& item) {
    object["kind"] = nameIn(kindNames, item.kind);
    addId(object, item.id);
    object["owner"] = item.owner;
    object["group"] = item.group;
    object["mode"] = item.permissions;
    object["size"] = item.size;
    object["modified"] = dateOf(item.modificationDate);
    if (item.creationDate) {
        object["created"] = dateOf(*item.creationDate);
    }
    if (item.immutable) {
        object["locked"] = true;
    }
}

qf::ItemAttributes itemIn(const Json& object) {
    qf::ItemAttributes item;
    item.kind = valueIn(kindNames, object.at("kind").get<std::string>());
    item.id = idIn(object);
    item.owner = object.at("owner").get<unsigned>();
    item.group = object.at("group").get<unsigned>();
    item.permissions = object.at("mode").get<unsigned>();
    item.size = object.at("size").get<std::uint64_t>();
    item.modificationDate = dateIn(object.at("modified"));
    if (object.contains("created")) {
        item.creationDate = dateIn(object.at("created"));
    }
    item.immutable = object.value("locked", false);
    return item;
}

std::vector<std::string> linksIn(const Json& object) {
    std::vector<std::string> links;
    for (const auto& link : object.value("links", Json::array())) {
        links.push_back(bytesOf(link));
    }
    return links;
}

PlanAction actionNamed(const std::string& name) {
    using enum PlanAction;
    for (const auto action : {trashBundle, trash, removeAgent, trashMatching}) {
        if (name == nameOf(action)) {
            return action;
        }
    }
    throwUnusable(noRow, name);
}

/// Returns whether a path is absolute and leads to its item without "." and "..".
bool isPlain(const std::string& itemPath) {
    std::string joined;
    for (const auto& component : path::components(itemPath)) {
        if (component == "." || component == "..") {
            return false;
        }
        joined = path::appending(joined, component);
    }
    return itemPath.starts_with('/') && joined == itemPath &&
           itemPath.find('\0') == std::string::npos;
}

/// Returns whether a row takes away what is at a path. An application may be anywhere: which one it
/// is can be seen only when it is found.
bool takes(const PlanRow& row, const std::string& itemPath) {
    switch (row.action) {
    case PlanAction::trash:
        return itemPath == row.subject;
    case PlanAction::removeAgent:
        return itemPath == jobFile(row.subject);
    case PlanAction::trashMatching:
        return path::deletingLastComponent(itemPath) == path::appending(row.subject, "Receipts") &&
               qf::text::hasPrefixIgnoringCase(path::lastComponent(itemPath), row.names.front());
    case PlanAction::trashBundle:
        return true;
    case PlanAction::kill:
        break;
    }
    return false;
}

/// Reads one line after the other.
class Reading {
public:
    explicit Reading(unsigned number) { record_.number = number; }

    void readLine(std::string_view line) {
        const auto object = record_.seal.opened(line);
        const auto what = object.at("step").get<std::string>();
        if ((what == "run") != isAtHead_) {
            throwUnusable(isAtHead_ ? noHead : otherHead);
        }
        isAtHead_ = false;
        if (what == "run") {
            readHead(object);
        } else if (what == "begin") {
            readBeginning(object);
        } else if (what == "end") {
            readEnd(object);
        } else if (what == "runEnded") {
            record_.isComplete = object.at("complete").get<bool>();
        } else if (what == "closed") {
            record_.isClosed = true;
        } else {
            throwUnusable(noWord, what);
        }
    }

    RunRecord record() && { return std::move(record_); }

private:
    void readHead(const Json& object) {
        if (object.at("version") != formatVersion) {
            throwUnusable(otherVersion);
        }
        record_.date = object.at("date").get<std::string>();
        record_.removeShared =
            object.at("removeShared").get<bool>() ? RemoveShared::yes : RemoveShared::no;
    }

    void readBeginning(const Json& object) {
        RecordedStep step{.action = actionNamed(object.at("action").get<std::string>()),
                          .subject = bytesOf(object.at("subject")),
                          .path = bytesOf(object.at("path")),
                          .item = itemIn(object),
                          .links = linksIn(object),
                          .job = {},
                          .end = {}};
        if (!isOfPlan(step)) {
            throwUnusable(notInPlan, qf::text::printable(step.path));
        }
        if (step.action == PlanAction::removeAgent) {
            step.job = RecordedJob{.content = {}, .isLoaded = object.at("loaded").get<bool>()};
            if (object.contains("content")) {
                step.job->content = bytesOf(object.at("content"));
            }
        }
        record_.steps.push_back(std::move(step));
    }

    void readEnd(const Json& object) {
        if (record_.steps.empty() || record_.steps.back().end ||
            record_.steps.back().path != bytesOf(object.at("path"))) {
            throwUnusable(noBeginning);
        }
        record_.steps.back().end =
            StepEnd{.taken = valueIn(takenNames, object.at("taken").get<std::string>()),
                    .place = object.contains("place") ? bytesOf(object.at("place")) : "",
                    .copied = {},
                    .copy = {}};
        if (object.contains("copied")) {
            record_.steps.back().end->copied = dateIn(object.at("copied"));
        }
        if (object.contains("copy")) {
            record_.steps.back().end->copy = identityIn(object.at("copy"));
        }
    }

    bool isOfPlan(const RecordedStep& step) const {
        return isPlain(step.path) && std::ranges::any_of(plan_, [&](const PlanRow& row) {
                   return row.action == step.action && row.subject == step.subject &&
                          takes(row, step.path);
               });
    }

    const std::vector<PlanRow> plan_ = uninstallPlan(RemoveShared::yes);
    bool isAtHead_ = true;
    RunRecord record_;
};

[[noreturn]] void throwInLine(std::size_t line, const std::string& reason) {
    throwUnusable(inLine, std::to_string(line), reason);
}

} // namespace

Json headOf(const RunRecord& record) {
    return {{"step", "run"},
            {"version", formatVersion},
            {"date", record.date},
            {"removeShared", record.removeShared == RemoveShared::yes}};
}

Json beginningOf(const RecordedStep& step) {
    Json object = {{"step", "begin"},
                   {"action", nameOf(step.action)},
                   {"subject", jsonOf(step.subject)},
                   {"path", jsonOf(step.path)}};
    addItem(object, step.item);
    for (const auto& link : step.links) {
        object["links"].push_back(jsonOf(link));
    }
    if (step.job) {
        object["loaded"] = step.job->isLoaded;
        if (step.job->content) {
            object["content"] = jsonOf(*step.job->content);
        }
    }
    return object;
}

Json endOf(const RecordedStep& step) {
    Json object = {{"step", "end"},
                   {"path", jsonOf(step.path)},
                   {"taken", nameIn(takenNames, step.end->taken)}};
    if (!step.end->place.empty()) {
        object["place"] = jsonOf(step.end->place);
    }
    if (step.end->copied) {
        object["copied"] = dateOf(*step.end->copied);
    }
    if (const auto& copy = step.end->copy) {
        addId(object["copy"], copy->id);
        object["copy"]["created"] = dateOf(copy->creationDate);
    }
    return object;
}

Json endOfRun(bool isComplete) {
    return {{"step", "runEnded"}, {"complete", isComplete}};
}

Json closure() {
    return {{"step", "closed"}};
}

RunRecord parsedRecord(unsigned number, std::string_view text) {
    Reading reading(number);
    std::size_t line = 0;
    while (!text.empty() || line == 0) {
        ++line;
        const auto end = text.find('\n');
        if (end == std::string_view::npos) {
            throwInLine(line, qf::translated(qf::translatable("Records", "it is cut short")));
        }
        const auto content = text.substr(0, end);
        text.remove_prefix(end + 1);
        // What could not be written whole was overwritten with spaces.
        if (content.find_first_not_of(' ') == std::string_view::npos && line > 1) {
            continue;
        }
        try {
            reading.readLine(content);
        } catch (const qf::Exception& exception) {
            throwInLine(line, exception.reason());
        } catch (const Json::exception&) {
            throwInLine(
                line, qf::translated(qf::translatable("Records", "something is missing from it")));
        }
    }
    return std::move(reading).record();
}

} // namespace records
