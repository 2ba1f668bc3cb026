#include "app/records/RunRecord.h"

#include "platform/foundation/Exception.h"
#include "tests/app/records/MachineOnDisk.h"
#include "tests/support/NamedCase.h"

using records::LineSeal;
using records::parsedRecord;
using records::RecordedStep;
using records::RunRecord;

namespace {

class RunRecordTest : public MachineOnDisk {
protected:
    /// Returns why a record is refused; empty if it is not.
    static std::string refusalOf(const std::string& text) {
        try {
            parsedRecord(1, text);
            return {};
        } catch (const qf::Exception& exception) {
            return exception.reason();
        }
    }

    /// Returns a whole record of a run that took an item away, or would have.
    static std::string recordOf(const RecordedStep& step) {
        LineSeal seal;
        auto text = seal.sealed(records::headOf({.date = "2026-01-02T03:04:05Z"}));
        text += seal.sealed(records::beginningOf(step));
        return text;
    }

    static qf::FileDate dateAt(std::int64_t seconds, std::int32_t nanoseconds) {
        qf::FileDate date;
        date.seconds = seconds;
        date.nanoseconds = nanoseconds;
        return date;
    }

    /// Returns attributes of which each is another.
    static qf::ItemAttributes itemOf(qf::ItemKind kind) {
        return {.kind = kind,
                .size = 1,
                .modificationDate = dateAt(2, 3),
                .id = {4, 5},
                .owner = 6,
                .group = 7,
                .permissions = 8,
                .creationDate = dateAt(9, 10),
                .immutable = true};
    }

    RecordedStep stepFor(PlanAction action, const std::string& subject,
                         const std::string& path) const {
        return {.action = action, .subject = subject, .path = path};
    }
};

TEST_F(RunRecordTest, RefusesEveryChangedByteWithTheNumberOfItsLine) {
    LineSeal seal;
    auto text = seal.sealed(records::headOf({}));
    text += seal.sealed(records::endOfRun(true));
    ASSERT_EQ(refusalOf(text), "");
    std::size_t line = 1;
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto edited = text;
        edited[i] = static_cast<char>(edited[i] ^ 1);
        const auto refusal = refusalOf(edited);
        const auto expected = "line " + std::to_string(line) + ": ";
        const auto isNextLine = text[i] == '\n';
        EXPECT_TRUE(refusal.starts_with(expected) || isNextLine) << i << ' ' << refusal;
        EXPECT_NE(refusal, "") << i;
        line += isNextLine ? 1 : 0;
    }
}

TEST_F(RunRecordTest, ReadsAllThatItSays) {
    const auto path = cache("Ospenth");
    auto step = stepFor(PlanAction::trash, path, path);
    step.item = itemOf(qf::ItemKind::directory);
    step.links = {"/link"};
    step.end = records::StepEnd{.taken = records::Taken::withRight, .place = "/p"};
    step.end->copied = dateAt(11, 12);
    step.end->copy = {.id = {13, 14}, .creationDate = dateAt(15, 16)};
    LineSeal seal;
    auto text = seal.sealed(
        records::headOf({.date = "2026-01-02T03:04:05Z", .removeShared = RemoveShared::yes}));
    for (const auto& line : {records::beginningOf(step), records::endOf(step),
                             records::endOfRun(true), records::closure()}) {
        text += seal.sealed(line);
    }

    const auto record = parsedRecord(3, text);

    EXPECT_EQ(record.number, 3U);
    EXPECT_EQ(record.date, "2026-01-02T03:04:05Z");
    EXPECT_EQ(record.removeShared, RemoveShared::yes);
    EXPECT_EQ(record.isComplete, true);
    EXPECT_TRUE(record.isClosed);
    ASSERT_EQ(record.steps.size(), 1U);
    const auto& read = record.steps.front();
    EXPECT_EQ(records::beginningOf(read), records::beginningOf(step));
    EXPECT_EQ(read.end, step.end);
}

TEST_F(RunRecordTest, PassesOverALineOfSpacesUnlessItIsTheFirst) {
    LineSeal seal;
    const auto head = seal.sealed(records::headOf({}));

    EXPECT_EQ(parsedRecord(1, head + "   \n" + seal.sealed(records::endOfRun(true))).isComplete,
              true);

    EXPECT_EQ(refusalOf("   \n" + head), "line 1: it is cut short");
}

TEST_F(RunRecordTest, IsALicenceForWhatAllProductsShareToo) {
    const auto path = cache("SoftwareUpdate");
    EXPECT_EQ(refusalOf(recordOf(stepFor(PlanAction::trash, path, path))), "");
}

TEST_F(RunRecordTest, RefusesALineThatIsCutShort) {
    write(cache("Ospenth"));
    uninstall();
    auto text = recordText();
    const auto lines = std::ranges::count(text, '\n');

    text.pop_back();
    EXPECT_EQ(refusalOf(text), "line " + std::to_string(lines) + ": it is cut short");
    text.resize(text.size() - 20);
    EXPECT_EQ(refusalOf(text), "line " + std::to_string(lines) + ": it is cut short");
    EXPECT_EQ(refusalOf(""), "line 1: it is cut short");
}

TEST_F(RunRecordTest, RefusesAMissingLine) {
    write(cache("Ospenth"));
    uninstall();
    auto text = recordText();
    const auto second = text.find('\n') + 1;
    text.erase(second, text.find('\n', second) + 1 - second);

    EXPECT_EQ(refusalOf(text), "line 2: it was edited");
}

TEST_F(RunRecordTest, KeepsPathsOfAnyBytes) {
    const auto receipts = home / "Library";
    const auto path = receipts + "/Receipts/install kelvane \xFF\n1.pkg";

    const auto record =
        parsedRecord(1, recordOf(stepFor(PlanAction::trashMatching, receipts, path)));

    EXPECT_EQ(record.steps.front().path, path);
}

struct ForeignPath : NamedCase {
    PlanAction action;
    const char* subject;
    const char* path;
};

class ForeignPathTest : public RunRecordTest, public testing::WithParamInterface<ForeignPath> {};

TEST_P(ForeignPathTest, IsNoLicence) {
    const auto absolute = [this](std::string text) {
        return text.starts_with("HOME") ? account.home + text.substr(4) : text;
    };
    const auto& row = GetParam();
    const auto step = stepFor(row.action, absolute(row.subject), absolute(row.path));

    EXPECT_EQ(refusalOf(recordOf(step)), "line 2: " + step.path + " is not in the plan");
}

INSTANTIATE_TEST_SUITE_P(
    All, ForeignPathTest,
    testing::Values(ForeignPath{{"Elsewhere"}, PlanAction::trash, "/etc/passwd", "/etc/passwd"},
                    ForeignPath{{"OfAnotherRow"},
                                PlanAction::trash,
                                "HOME/Library/Caches/com.quillfen.Ospenth",
                                "HOME/Library/Caches/com.quillfen.Dunmarl"},
                    ForeignPath{{"JobElsewhere"},
                                PlanAction::removeAgent,
                                "com.quillfen.Lunevar",
                                "HOME/.config/autostart/x"},
                    ForeignPath{{"ForeignJob"},
                                PlanAction::removeAgent,
                                "com.example.job",
                                "HOME/Library/LaunchAgents/com.example.job.plist"},
                    ForeignPath{{"ForeignApplication"},
                                PlanAction::trashBundle,
                                "com.example.application",
                                "/Applications/Example.app"},
                    ForeignPath{{"ApplicationWithDots"},
                                PlanAction::trashBundle,
                                "com.quillfen.Ospenth",
                                "/Applications/../etc/Ospenth.app"},
                    ForeignPath{{"RelativeApplication"},
                                PlanAction::trashBundle,
                                "com.quillfen.Ospenth",
                                "Ospenth.app"}),
    nameOfCase);

TEST_F(RunRecordTest, RefusesAReceiptWithAnotherName) {
    const auto library = home / "Library";
    const auto path = library + "/Receipts/Other.pkg";

    EXPECT_EQ(refusalOf(recordOf(stepFor(PlanAction::trashMatching, library, path))),
              "line 2: " + path + " is not in the plan");
}

TEST_F(RunRecordTest, RefusesAReceiptInAnotherDirectory) {
    const auto library = home / "Library";
    const auto path = library + "/Other/Install Kelvane 1.pkg";

    EXPECT_EQ(refusalOf(recordOf(stepFor(PlanAction::trashMatching, library, path))),
              "line 2: " + path + " is not in the plan");
}

TEST_F(RunRecordTest, RefusesAnEndThatIsNotThatOfTheLastStep) {
    auto step = stepFor(PlanAction::trash, cache("Ospenth"), cache("Ospenth"));
    const auto beginning = records::beginningOf(step);
    step.end.emplace();
    const auto end = records::endOf(step);
    step.path = cache("Dunmarl");
    const auto otherEnd = records::endOf(step);
    const auto recordWith = [&](const std::vector<records::Json>& lines) {
        LineSeal seal;
        auto text = seal.sealed(records::headOf({}));
        for (const auto& line : lines) {
            text += seal.sealed(line);
        }
        return text;
    };

    EXPECT_EQ(refusalOf(recordWith({beginning, end})), "");
    EXPECT_EQ(refusalOf(recordWith({beginning, otherEnd})),
              "line 3: it ends a step that did not begin");
    EXPECT_EQ(refusalOf(recordWith({beginning, end, end})),
              "line 4: it ends a step that did not begin");
}

TEST_F(RunRecordTest, RefusesWhatNoRunWrites) {
    LineSeal seal;
    const auto head = seal.sealed(records::headOf({}));
    EXPECT_EQ(refusalOf(head + LineSeal(seal).sealed({{"step", "other"}})),
              "line 2: it says \"other\", which is no word of a record");
    EXPECT_EQ(refusalOf(head + LineSeal(seal).sealed({{"other", 1}})),
              "line 2: something is missing from it");
    EXPECT_EQ(refusalOf(head + LineSeal(seal).sealed({{"step", "end"}, {"path", "/x"}})),
              "line 2: it ends a step that did not begin");
    EXPECT_EQ(refusalOf(head + LineSeal(seal).sealed(records::headOf({}))),
              "line 2: it is the beginning of another record");
    EXPECT_EQ(refusalOf(LineSeal().sealed(records::Json::array({1}))), "line 1: it was edited");
    EXPECT_EQ(refusalOf(LineSeal().sealed({{"step", "runEnded"}})),
              "line 1: it is not the beginning of a record");
    EXPECT_EQ(refusalOf(LineSeal().sealed({{"step", "run"}, {"version", 2}})),
              "line 1: another version of the program wrote it");
}

TEST_F(RunRecordTest, RefusesWordsThatNoRunKnows) {
    const auto withWord = [&](const char* key, const char* word) {
        auto line =
            records::beginningOf(stepFor(PlanAction::trash, cache("Ospenth"), cache("Ospenth")));
        line[key] = word;
        LineSeal seal;
        auto text = seal.sealed(records::headOf({}));
        return text += seal.sealed(line);
    };

    EXPECT_EQ(refusalOf(withWord("kind", "pipe")),
              "line 2: it says \"pipe\", which is no word of a record");
    EXPECT_EQ(refusalOf(withWord("action", "kill")),
              "line 2: it says \"kill\", which is no row of the plan");
}

/// What an earlier version wrote, a later one reads.
TEST_F(RunRecordTest, HasAFormatThatStays) {
    RecordedStep step{.action = PlanAction::removeAgent,
                      .subject = "com.quillfen.Lunevar",
                      .path = "/job \xFF",
                      .item = itemOf(qf::ItemKind::link),
                      .links = {"/link"},
                      .job = records::RecordedJob{.content = "text", .isLoaded = true},
                      .end = records::StepEnd{.taken = records::Taken::withRight, .place = "/p"}};

    EXPECT_EQ(records::headOf({.date = "date", .removeShared = RemoveShared::yes}).dump(),
              R"({"step":"run","version":1,"date":"date","removeShared":true})");
    EXPECT_EQ(records::beginningOf(step).dump(),
              R"({"step":"begin","action":"removeAgent","subject":"com.quillfen.Lunevar",)"
              R"("path":{"hexadecimal":"2f6a6f6220ff"},"kind":"link","volume":4,"number":5,)"
              R"("owner":6,"group":7,"mode":8,"size":1,"modified":[2,3],"created":[9,10],)"
              R"("locked":true,"links":["/link"],"loaded":true,"content":"text"})");
    EXPECT_EQ(records::endOf(step).dump(), R"({"step":"end","path":{"hexadecimal":"2f6a6f6220ff"},)"
                                           R"("taken":"withRight","place":"/p"})");
    step.end->copied = dateAt(11, 12);
    EXPECT_EQ(records::endOf(step).dump(), R"({"step":"end","path":{"hexadecimal":"2f6a6f6220ff"},)"
                                           R"("taken":"withRight","place":"/p","copied":[11,12]})");
    step.end->copied.reset();
    step.end->copy = {.id = {13, 14}, .creationDate = dateAt(15, 16)};
    EXPECT_EQ(records::endOf(step).dump(),
              R"({"step":"end","path":{"hexadecimal":"2f6a6f6220ff"},"taken":"withRight",)"
              R"("place":"/p","copy":{"volume":13,"number":14,"created":[15,16]}})");
    EXPECT_EQ(records::endOfRun(true).dump(), R"({"step":"runEnded","complete":true})");
    EXPECT_EQ(records::closure().dump(), R"({"step":"closed"})");
}

struct ActionWord : NamedCase {
    PlanAction action;
    const char* word;
};

class ActionWordTest : public testing::TestWithParam<ActionWord> {};

TEST_P(ActionWordTest, Stays) {
    EXPECT_EQ(records::beginningOf({.action = GetParam().action}).at("action"), GetParam().word);
}

INSTANTIATE_TEST_SUITE_P(
    All, ActionWordTest,
    testing::Values(ActionWord{{"TrashBundle"}, PlanAction::trashBundle, "trashBundle"},
                    ActionWord{{"Trash"}, PlanAction::trash, "trash"},
                    ActionWord{{"RemoveAgent"}, PlanAction::removeAgent, "removeAgent"},
                    ActionWord{{"TrashMatching"}, PlanAction::trashMatching, "trashMatching"}),
    nameOfCase);

class WrongHexadecimalDigits : public testing::TestWithParam<const char*> {};

TEST_P(WrongHexadecimalDigits, AreNoBytes) {
    EXPECT_THROW(records::bytesOf({{"hexadecimal", GetParam()}}), qf::Exception);
}

INSTANTIATE_TEST_SUITE_P(All, WrongHexadecimalDigits, testing::Values("0", "0g", "g0", "00f"));

TEST(RecordDates, AreInUtc) {
    EXPECT_EQ(records::timestamp(qf::Date(std::chrono::seconds(1767323045))),
              "2026-01-02T03:04:05Z");
}

} // namespace
