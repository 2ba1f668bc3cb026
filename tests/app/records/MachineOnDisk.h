#pragma once

#include "app/UninstallPlan.h"
#include "app/records/RunRecorder.h"
#include "app/records/Undoing.h"
#include "platform/Services.h"
#include "platform/linux/desktop/Workspace.h"
#include "platform/linux/files/FileStreams.h"
#include "platform/linux/files/FileSystem.h"
#include "platform/linux/plist/PropertyLists.h"
#include "platform/linux/posix/Errors.h"
#include "tests/support/AuthorizationDouble.h"
#include "tests/support/LoggedLines.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/ProcessLauncherDouble.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TestClock.h"
#include "util/auth/QFAuthorization.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <istream>
#include <set>
#include <string>
#include <vector>

/// The Trash of a test, in which some items are closed to the user.
class TrashOnDisk : public qf::native::Workspace {
public:
    using qf::native::Workspace::Workspace;

    /// The directories whose items only the administrator may move.
    std::set<std::string> closed;
    /// Called before an item is put back.
    std::function<void()> beforePuttingBack = [] {};
    /// The path that every item in the Trash had, if it has a record of that.
    std::string formerPath;
    /// The names in the Trash whose trashinfos were deleted, with their items' paths.
    std::vector<std::string> forgotten;
    /// Whether the items of the Trash can be listed.
    bool isReadable = true;
    /// The number of every failure to put back, if that fails.
    int failure = 0;

    qf::Result<std::string> recycle(const std::string& directory, const std::string& trash,
                                    const std::string& name) override {
        return closed.contains(directory) ? denied(name)
                                          : Workspace::recycle(directory, trash, name);
    }
    qf::Result<std::vector<qf::ItemInTrash>> itemsInTrash(const std::string& trash) override {
        if (!isReadable) {
            return qf::Unexpected(
                qf::native::posixError(qf::native::Errno(EMFILE), "Trash", "read"));
        }
        const bool isThere = std::filesystem::exists(trash);
        auto items =
            Workspace::itemsInTrash(isThere ? std::filesystem::canonical(trash).string() : trash);
        for (auto& item : *items) {
            item.path = formerPath;
        }
        return items;
    }
    void forgetTrashed(const std::string& place, const std::string& path) override {
        forgotten.push_back(place.substr(place.rfind('/') + 1) + " of " + path);
        Workspace::forgetTrashed(place, path);
    }
    qf::Result<void> putBack(const std::string& place, const std::string& path) override {
        beforePuttingBack();
        if (failure != 0) {
            return qf::Unexpected(qf::native::posixError(
                qf::native::Errno(failure), std::filesystem::path(path).filename().string(),
                "put back"));
        }
        if (closed.contains(std::filesystem::canonical(path.substr(0, path.rfind('/'))))) {
            return qf::Unexpected(denied(path).error());
        }
        return Workspace::putBack(place, path);
    }

private:
    static qf::Result<std::string> denied(const std::string& item) {
        return qf::Unexpected(qf::native::posixError(qf::native::Errno(EACCES), item, "moved"));
    }
};

/// An administrator whose tool really moves.
class MovingAdministrator : public RecordingAuthorizationServices {
public:
    qf::AuthorizationResult<std::unique_ptr<std::istream>>
    executeWithPrivileges(qf::AuthorizationRef ref, const std::string& toolPath,
                          qf::AuthorizationFlags options, const std::vector<std::string>& arguments,
                          const std::optional<std::string>& content) override {
        auto tool = RecordingAuthorizationServices::executeWithPrivileges(ref, toolPath, options,
                                                                          arguments, content);
        if (tool && isLate) {
            return std::make_unique<LateOutput>([=] { work(toolPath, arguments); });
        }
        if (tool) {
            work(toolPath, arguments);
        }
        return tool;
    }

    /// Whether a tool works only while its output is read to the end.
    bool isLate = false;

private:
    /// The output of a tool, which does its work before that ends.
    class LateOutput : public std::istream {
    public:
        explicit LateOutput(std::function<void()> work)
            : std::istream(&buffer_), buffer_(std::move(work)) {}

    private:
        class Buffer : public std::streambuf {
        public:
            explicit Buffer(std::function<void()> work) : work_(std::move(work)) {}

        protected:
            int_type underflow() override {
                work_();
                return traits_type::eof();
            }

        private:
            std::function<void()> work_;
        };

        Buffer buffer_;
    };

    static void work(const std::string& toolPath, const std::vector<std::string>& arguments) {
        std::error_code failed;
        if (toolPath == "/bin/mv") {
            std::filesystem::rename(arguments.at(1), arguments.at(2), failed);
        } else if (toolPath == "/bin/rm") {
            std::filesystem::remove_all(arguments.at(1), failed);
        } else if (toolPath == "/bin/mkdir") {
            std::filesystem::create_directories(arguments.at(1), failed);
        }
    }
};

/// The service manager's jobs, as a test describes them.
class DescribedJobs : public records::Jobs {
public:
    std::optional<std::set<std::string>> labels{std::in_place};
    std::vector<std::string> files; ///< That were to be loaded.
    int failures = 0;               ///< How often loading fails.

    std::optional<std::set<std::string>> loaded() override { return labels; }
    void load(const std::string& file) override {
        files.push_back(file);
        if (labels && --failures < 0) {
            labels->insert(std::filesystem::path(file).stem());
        }
    }
};

/// Notes the names of the items that are begun, and how far that is.
class NotingObserver : public records::UndoObserver {
public:
    std::vector<std::string> notes;

    void itemBegan(const std::string& path, records::Progress progress) override {
        notes.push_back(std::filesystem::path(path).filename().string() + " " +
                        std::to_string(progress.number) + "/" + std::to_string(progress.total));
    }
};

/// A machine whose directories are all in a temporary one, with real files and a real Trash, seen
/// by an ordinary user: for tests of what runs leave on the disk. DescribedMachine has no files.
class MachineOnDisk : public testing::Test {
protected:
    using Lines = std::vector<std::string>;

    MachineOnDisk() {
        using qf::DirectoryKind;
        using qf::DomainMask;
        TestClock::install();
        loggedLines();
        account.home = home.makeDirectory("user");
        account.state = home / "user/state";
        home.makeDirectory("user/.Trash");
        searchPaths.lists = {
            {{DirectoryKind::application, DomainMask::local}, {home / "Applications"}},
            {{DirectoryKind::library, DomainMask::local}, {home / "Library"}},
            {{DirectoryKind::library, DomainMask::user}, {home / "user/Library"}},
            {{DirectoryKind::caches, DomainMask::user}, {home / "user/Library/Caches"}},
            {{DirectoryKind::applicationSupport, DomainMask::user},
             {home / "user/Library/Application Support"}},
        };
    }
    void TearDown() override {
        QFAuthorization::sharedController().dealloc();
        loggedLines(); // None is written any more when the services are gone.
    }

    /// Returns an item in the user's caches, which belongs to the plan.
    std::string cache(const std::string& application) const {
        return home / ("user/Library/Caches/com.quillfen." + application);
    }
    std::string preferences(const std::string& application) const {
        return home / ("Library/Preferences/com.quillfen." + application + ".plist");
    }
    std::string agent(const std::string& label) const {
        return home / ("user/Library/LaunchAgents/com.quillfen." + label + ".plist");
    }

    /// Makes a file with its directories.
    static std::string write(const std::string& path, const std::string& content = "content") {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path) << content;
        return path;
    }

    /// Walks the rows of the whole plan and records that.
    void uninstall() {
        records::RunRecorder recorder(runs, jobs);
        uninstall(recorder);
    }
    void uninstall(records::RunRecorder& recorder) {
        /// Waits for tools, as the run's own observer does.
        class Waiting : public PlanObserver {
        public:
            explicit Waiting(PlanObserver& next) : next_(next) {}
            void rowBegan(const PlanRow& row) override { next_.rowBegan(row); }
            void itemBegan(const std::string& path) override { next_.itemBegan(path); }
            void itemEnded(const std::string& path, const qf::TrashResult& result) override {
                if (result.waitUntilDone) {
                    result.waitUntilDone();
                }
                next_.itemEnded(path, result);
            }
            void rowEnded(const PlanRow& row) override { next_.rowEnded(row); }
            void walkEnded() override { next_.walkEnded(); }

        private:
            PlanObserver& next_;
        } waiting(recorder);
        recorder.begin(RemoveShared::yes);
        walkUninstallPlan(uninstallPlan(RemoveShared::yes), waiting);
    }

    std::string recordText(unsigned number = 1) const { return contentOf(runs.file(number)); }

    TemporaryDirectory home;
    FakeAccount account;
    FakeSearchPaths searchPaths;
    RecordingConsole console;
    qf::native::FileSystem fileSystem;
    qf::native::FileStreams fileStreams;
    qf::native::PropertyLists propertyLists;
    TrashOnDisk desktop{account, searchPaths, propertyLists};
    DescribedFileSystem noTools;
    RecordingProcessLauncher launcher{noTools};
    MovingAdministrator administrator;
    DescribedJobs jobs;
    records::RunRecords runs{home / "user/state/kelvane-uninstaller/runs"};

private:
    qf::ScopedService<qf::UserAccount> accountScope_{account};
    qf::ScopedService<qf::SearchPaths> searchPathsScope_{searchPaths};
    qf::ScopedService<qf::Console> consoleScope_{console};
    qf::ScopedService<qf::FileSystem> fileSystemScope_{fileSystem};
    qf::ScopedService<qf::FileStreams> fileStreamsScope_{fileStreams};
    qf::ScopedService<qf::PropertyLists> propertyListsScope_{propertyLists};
    qf::ScopedService<qf::Workspace> desktopScope_{desktop};
    qf::ScopedService<qf::ProcessLauncher> launcherScope_{launcher};
    qf::ScopedService<qf::AuthorizationServices> administratorScope_{administrator};
};
