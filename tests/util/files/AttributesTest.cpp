#include "platform/ExtendedAttributes.h"
#include "platform/foundation/Exception.h"
#include "tests/util/files/FileManagerTest.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <map>
#include <utility>

using qf::Error;
using qf::Result;
using qf::Unexpected;

namespace {

/// Extended attributes of one file, which a test describes, as a system keeps them.
class DescribedAttributes : public qf::ExtendedAttributes {
public:
    std::map<std::string, std::string> values;
    /// What every call fails with.
    int failure = 0;
    /// The sizes of the buffers that were read into.
    std::vector<std::size_t> buffers;
    /// What happens between a look at the size and the reading.
    std::function<void()> beforeReading = [] {};

    Result<std::size_t> size(const std::string& /*path*/, const std::string& name) override {
        if (failure != 0) {
            return errorOf(failure);
        }
        const auto found = values.find(name);
        if (found == values.end()) {
            return errorOf(ENODATA);
        }
        return found->second.size();
    }
    Result<std::size_t> read(const std::string& path, const std::string& name,
                             std::span<std::byte> buffer) override {
        beforeReading();
        buffers.push_back(buffer.size());
        const auto length = size(path, name);
        if (length && *length > buffer.size()) {
            return errorOf(ERANGE);
        }
        if (length) {
            std::ranges::copy(std::as_bytes(std::span(values[name])), buffer.begin());
        }
        return length;
    }
    Result<void> set(const std::string& path, const std::string& name,
                     std::string_view value) override {
        if (failure != 0) {
            return errorOf(failure);
        }
        values[path + " " + name] = value;
        return {};
    }

private:
    static Unexpected<Error> errorOf(int number) {
        return Unexpected(Error{"NSPOSIXErrorDomain", number, ""});
    }
};

class Attributes : public FileManagerTest {
protected:
    Attributes() {
        fileSystem.files = {"/file", "/theirs"};
        fileSystem.readOnly = {"/theirs"};
        fileSystem.directories = {{"/folder", Lines{"a", "sub", ".b"}},
                                  {"/folder/sub", Lines{"c"}}};
    }

    DescribedAttributes attributes;

private:
    qf::ScopedService<qf::ExtendedAttributes> attributesScope_{attributes};
};

const std::string touchFile = "/usr/bin/touch -c /file";
const std::string touchTheirs = "/usr/bin/touch -c /theirs";

} // namespace

// The locked flag.

TEST_F(Attributes, LockingAndUnlockingChangeTheFlagSilently) {
    QFFileManager::lockFile("/file");
    QFFileManager::unlockFile("/file");
    EXPECT_EQ(fileSystem.changes, (Lines{"lock /file", "unlock /file"}));
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(Attributes, AFailedLockingIsLoggedAsAnUnlockingToo) {
    QFFileManager::lockFile("/missing");
    QFFileManager::unlockFile("/missing");
    const std::string line = "Unable to unlock file /missing: There is nothing at /missing.";
    EXPECT_EQ(loggedLines(), (Lines{line, line}));
}

TEST_F(Attributes, AFailedLockingDoesNotWaitForTheLog) {
    EXPECT_TRUE(
        endsBeforeTheLogIsWritten([] { QFFileManager::unlockFile("/missing"); }, longPatience));
    EXPECT_EQ(loggedLines().size(), 1U);
}

TEST_F(Attributes, LockingADirectoryLocksWhatLiesInsideAndNoDirectory) {
    fileSystem.files.insert({"/folder/a", "/folder/.b", "/folder/sub/c"});
    QFFileManager::lockFolder("/folder");
    QFFileManager::unlockFolder("/folder");
    EXPECT_EQ(fileSystem.changes,
              (Lines{"lock /folder/a", "lock /folder/sub/c", "lock /folder/.b", "unlock /folder/a",
                     "unlock /folder/sub/c", "unlock /folder/.b"}));
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(Attributes, LockingNothingsContentsDoesNothing) {
    for (const auto* directory : {"/missing", "/file", ""}) {
        QFFileManager::lockFolder(directory);
        QFFileManager::unlockFolder(directory);
    }
    EXPECT_EQ(fileSystem.changes, Lines{});
    EXPECT_EQ(loggedLines(), Lines{});
}

// Permissions and dates.

TEST_F(Attributes, PermissionsAreSetSilently) {
    QFFileManager::setPosixPermissions(0644, "/file");
    EXPECT_EQ(fileSystem.changes, Lines{"permissions /file"});
    EXPECT_EQ(fileSystem.permissions["/file"], 0644U);
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(Attributes, PermissionsThatCannotBeSetAreLogged) {
    fileSystem.failures["permissions /file"] = {.localizedDescription = "It is not yours."};
    QFFileManager::setPosixPermissions(0644, "/file");
    EXPECT_EQ(loggedLines(), Lines{"Error setting permissions for file /file: It is not yours."});
}

TEST_F(Attributes, PermissionsThatCannotBeSetAreInTheLogAtOnce) {
    fileSystem.failures["permissions /file"] = {.localizedDescription = "It is not yours."};
    EXPECT_FALSE(endsBeforeTheLogIsWritten(
        [] { QFFileManager::setPosixPermissions(0644, "/file"); }, shortPatience));
    EXPECT_EQ(loggedLines().size(), 1U);
}

TEST_F(Attributes, TheModificationDateIsSetOrNotWithoutALine) {
    EXPECT_TRUE(QFFileManager::setModificationDate(pauses.now(), "/file"));
    EXPECT_EQ(fileSystem.changes, Lines{"date /file"});
    fileSystem.failures["date /file"] = {.localizedDescription = "It is not yours."};
    EXPECT_FALSE(QFFileManager::setModificationDate(pauses.now(), "/file"));
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(Attributes, AModificationDateThatCannotBeSetSaysWhy) {
    fileSystem.failures["date /file"] = {.localizedDescription = "It is not yours."};
    EXPECT_EQ(QFFileManager::setModificationDateWithResult(pauses.now(), "/file")
                  .error()
                  .localizedDescription,
              "It is not yours.");
}

// Touch.

TEST_F(Attributes, NoPathCannotBeTouched) {
    EXPECT_FALSE(QFFileManager::touchFile(std::nullopt));
    EXPECT_FALSE(QFFileManager::touchFile(std::nullopt, qf::SetCreationDate::yes));
    EXPECT_EQ(workspace.changed, Lines{});
    EXPECT_EQ(launcher.runs, Lines{});
}

TEST_F(Attributes, WhatTheUserMayWriteIsTouchedByTheTool) {
    EXPECT_TRUE(QFFileManager::touchFile("/file"));
    EXPECT_EQ(launcher.runs, (Lines{touchFile, "waited"}));
    EXPECT_EQ(pauses.timeouts, std::vector{std::chrono::seconds(5)});
    EXPECT_EQ(fileSystem.changes, Lines{});
    EXPECT_EQ(services.calls.size(), 0U);
    EXPECT_EQ(workspace.changed, Lines{"/file"});
}

TEST_F(Attributes, TheCreationDateFollowsTheTool) {
    launcher.effect = [this] { EXPECT_EQ(fileSystem.changes, Lines{}); };
    EXPECT_TRUE(QFFileManager::touchFile("/file", qf::SetCreationDate::yes));
    EXPECT_EQ(launcher.runs, (Lines{touchFile, "waited"}));
    EXPECT_EQ(fileSystem.changes, Lines{"creation date /file"});
    EXPECT_EQ(fileSystem.creationDates["/file"], pauses.now());
    EXPECT_EQ(workspace.changed, Lines{"/file"});
}

TEST_F(Attributes, TouchSucceedsWhateverTheToolDoes) {
    launcher.failure = qf::Exception("NSInvalidArgumentException", "no tool");
    EXPECT_TRUE(QFFileManager::touchFile("/file"));
    fileSystem.tools.erase("/usr/bin/touch");
    EXPECT_TRUE(QFFileManager::touchFile("/file"));
    EXPECT_EQ(workspace.changed, (Lines{"/file", "/file"}));
}

TEST_F(Attributes, WhatIsNotTheUsersIsTouchedByTheAdministratorWhoIsWaitedFor) {
    services.toolOutput = "output";
    EXPECT_TRUE(QFFileManager::touchFile("/theirs"));
    EXPECT_EQ(services.tools(), Lines{touchTheirs});
    EXPECT_EQ(services.unreadOutput, 0);
    EXPECT_EQ(fileSystem.changes, Lines{});
    EXPECT_EQ(launcher.runs, Lines{});
    EXPECT_EQ(workspace.changed, Lines{"/theirs"});
}

TEST_F(Attributes, TheCreationDateOfWhatIsNotTheUsersIsTriedFirst) {
    fileSystem.failures["creation date /theirs"] = {.localizedDescription = "It is not yours."};
    services.beforeTool = [this] { EXPECT_EQ(fileSystem.changes, Lines{"creation date /theirs"}); };
    EXPECT_TRUE(QFFileManager::touchFile("/theirs", qf::SetCreationDate::yes));
    EXPECT_EQ(fileSystem.changes, Lines{"creation date /theirs"});
    EXPECT_EQ(services.tools(), Lines{touchTheirs});
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(Attributes, TouchFailsWhenTheRightIsRefusedAndTellsTheDesktopAllTheSame) {
    refuseTheRight();
    EXPECT_FALSE(QFFileManager::touchFile("/theirs"));
    services.rightsStatus = qf::errAuthorizationSuccess;
    services.executeStatus = -60031;
    EXPECT_FALSE(QFFileManager::touchFile("/theirs"));
    EXPECT_EQ(workspace.changed, (Lines{"/theirs", "/theirs"}));
}

TEST_F(Attributes, TouchSaysWhoDidItOrWhyItFailed) {
    const auto touch = [](const std::optional<std::string>& path) {
        return QFFileManager::touchFileWithResult(path, qf::SetCreationDate::no);
    };
    EXPECT_EQ(touch("/file").value(), qf::DoneBy::user);
    EXPECT_EQ(touch("/theirs").value(), qf::DoneBy::administrator);
    services.executeStatus = -60031;
    EXPECT_EQ(touch("/theirs").error().code, -60031);
    EXPECT_EQ(touch("/theirs").error().localizedDescription,
              "Unable to run /usr/bin/touch for /theirs as administrator - error -60031");
    EXPECT_EQ(touch(std::nullopt).error().localizedDescription, "There is no path to touch.");
}

TEST_F(Attributes, TheMissingIsTouchedByTheAdministrator) {
    EXPECT_TRUE(QFFileManager::touchFile("/missing"));
    EXPECT_EQ(services.tools(), Lines{"/usr/bin/touch -c /missing"});
}

TEST_F(Attributes, TheSuperuserTouchesDirectly) {
    becomeSuperuser();
    EXPECT_TRUE(QFFileManager::touchFile("/theirs"));
    EXPECT_EQ(launcher.runs, (Lines{touchTheirs, "waited"}));
    EXPECT_EQ(services.calls.size(), 0U);
}

// Empty files.

TEST_F(Attributes, AnEmptyFileIsMadeElsewhereAndMoved) {
    EXPECT_TRUE(QFFileManager::createEmptyFile("/new"));
    ASSERT_EQ(fileSystem.changes.size(), 2U);
    EXPECT_TRUE(fileSystem.changes[0].starts_with("write /tmp/")) << fileSystem.changes[0];
    const auto temporary = fileSystem.changes[0].substr(std::string("write ").size());
    EXPECT_EQ(fileSystem.changes[1], "move " + temporary + " /new");
}

TEST_F(Attributes, AnEmptyFileIsMadeByTheAdministratorWhereNobodyElseMay) {
    EXPECT_TRUE(QFFileManager::createEmptyFile("/file"));
    ASSERT_EQ(services.tools().size(), 1U);
    EXPECT_TRUE(services.tools()[0].starts_with("/bin/mv -f /tmp/")) << services.tools()[0];
    EXPECT_TRUE(services.tools()[0].ends_with(" /file")) << services.tools()[0];
}

TEST_F(Attributes, NoEmptyFileIsMovedThatCouldNotBeMade) {
    account.temporary = "/nowhere";
    fileSystem.writeResult =
        qf::Unexpected(qf::Error{.localizedDescription = "There is no space."});
    EXPECT_FALSE(QFFileManager::createEmptyFile("/new"));
    EXPECT_EQ(fileSystem.changes.size(), 1U);
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(Attributes, AnEmptyFileSaysWhoMadeItOrWhyItCouldNotBeMade) {
    EXPECT_EQ(QFFileManager::createEmptyFileWithResult("/new").value(), qf::DoneBy::user);
    fileSystem.writeResult =
        qf::Unexpected(qf::Error{.localizedDescription = "There is no space."});
    EXPECT_EQ(QFFileManager::createEmptyFileWithResult("/new").error().localizedDescription,
              "There is no space.");
}

// Extended attributes.

TEST_F(Attributes, AnAttributeIsReadAsText) {
    attributes.values = {{"key", "grün"}};
    EXPECT_EQ(QFFileManager::metadataValueForKey("key", "/file"), "grün");
    EXPECT_EQ(console.systemLogLines(), Lines{"buffer val: 5"});
    EXPECT_EQ(attributes.buffers, std::vector<std::size_t>{255});
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(Attributes, AMissingAttributeHasNoValueAndLeavesTwoLines) {
    EXPECT_EQ(QFFileManager::metadataValueForKey("key", "/file"), std::nullopt);
    EXPECT_EQ(
        console.systemLogLines(),
        (Lines{"buffer val: -1", "Error retrieving file attribute: " + std::to_string(ENODATA)}));
    attributes.failure = EACCES;
    QFFileManager::metadataValueForKey("key", "/file");
    EXPECT_EQ(console.systemLogLines().back(),
              "Error retrieving file attribute: " + std::to_string(EACCES));
}

TEST_F(Attributes, AnEmptyAttributeHasNoValue) {
    attributes.values = {{"key", ""}};
    EXPECT_EQ(QFFileManager::metadataValueForKey("key", "/file"), std::nullopt);
    EXPECT_EQ(console.systemLogLines(), Lines{"buffer val: 0"});
    EXPECT_EQ(attributes.buffers.size(), 0U);
}

TEST_F(Attributes, AnAttributeThatIsNoTextHasNoValue) {
    attributes.values = {{"key", "a\xFF"}};
    EXPECT_EQ(QFFileManager::metadataValueForKey("key", "/file"), std::nullopt);
}

TEST_F(Attributes, AttributesOf255BytesAreReadAndLongerOnesAreZeros) {
    attributes.values = {{"fits", std::string(255, 'x')}, {"long", std::string(256, 'x')}};
    EXPECT_EQ(QFFileManager::metadataValueForKey("fits", "/file"), std::string(255, 'x'));
    EXPECT_EQ(QFFileManager::metadataValueForKey("long", "/file"), std::string(256, '\0'));
    EXPECT_EQ(attributes.buffers, (std::vector<std::size_t>{255, 255}));
    EXPECT_EQ(console.systemLogLines(), (Lines{"buffer val: 255", "buffer val: 256"}));
}

TEST_F(Attributes, AnAttributeThatChangesBeforeItIsReadIsCutToTheSizeItHad) {
    attributes.values = {{"key", "abc"}};
    attributes.beforeReading = [this] { attributes.values["key"] = "ABCDEF"; };
    EXPECT_EQ(QFFileManager::metadataValueForKey("key", "/file"), "ABC");
    attributes.values = {{"key", "abc"}};
    attributes.beforeReading = [this] { attributes.values["key"] = "A"; };
    EXPECT_EQ(QFFileManager::metadataValueForKey("key", "/file"), std::string("A\0\0", 3));
    attributes.values = {{"key", "abc"}};
    attributes.beforeReading = [this] { attributes.values.clear(); };
    EXPECT_EQ(QFFileManager::metadataValueForKey("key", "/file"), std::string(3, '\0'));
}

TEST_F(Attributes, AnAttributeIsSetWithoutALine) {
    EXPECT_TRUE(QFFileManager::setMetadataValue("value", "key", "/file"));
    EXPECT_EQ(attributes.values["/file key"], "value");
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(Attributes, AnAttributeThatCannotBeSetIsToldToTheSystemLog) {
    attributes.failure = EACCES;
    EXPECT_FALSE(QFFileManager::setMetadataValue("value", "key", "/file"));
    EXPECT_EQ(console.systemLogLines(),
              Lines{"Error setting extended attribute for file /file - -1"});
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(Attributes, AnAttributeThatCannotBeSetSaysWhy) {
    attributes.failure = EACCES;
    EXPECT_EQ(QFFileManager::setMetadataValueWithResult("value", "key", "/file").error().code,
              EACCES);
}
