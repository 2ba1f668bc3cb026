#pragma once

#include "tests/support/RunCommand.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

/// Runs the program in a temporary directory.
class DittoHarness : public testing::Test {
protected:
    void SetUp() override {
        std::filesystem::permissions(directory.path(), std::filesystem::perms(0777));
    }

    static Outcome ditto(const std::vector<std::string>& words,
                         const std::vector<std::string>& prefix = {},
                         const std::string& faults = "") {
        std::vector<std::string> command = prefix;
        command.emplace_back(QF_DITTO);
        command.insert(command.end(), words.begin(), words.end());
        std::vector<std::string> environment{"LSAN_OPTIONS=detect_leaks=0"};
        if (!faults.empty()) {
            environment.insert(environment.end(),
                               {preloading(QF_FAULTY_CALLS), "QF_FAULTS=" + faults,
                                "QF_FAULTS_FROM_START=1", "ASAN_OPTIONS=verify_asan_link_order=0"});
        }
        return run(command, environment);
    }
    static void expectDone(const Outcome& outcome) {
        EXPECT_EQ(outcome.status, 0) << outcome.output;
        EXPECT_EQ(outcome.output, "");
    }
    /// Expects one line that tells why, and nothing of the work.
    static void expectRefused(const Outcome& outcome, const std::string& why) {
        EXPECT_EQ(outcome.status, 1);
        EXPECT_TRUE(outcome.output.starts_with("ditto: ")) << outcome.output;
        EXPECT_NE(outcome.output.find(why), std::string::npos) << outcome.output;
        EXPECT_EQ(outcome.output.find('\n'), outcome.output.size() - 1) << outcome.output;
    }

    /// The paths below `path`, sorted, each with its kind, permissions, time in seconds and
    /// content.
    static std::vector<std::string> treeOf(const std::string& path) {
        std::vector<std::string> tree;
        for (const auto& item : std::filesystem::recursive_directory_iterator(path)) {
            struct stat status {};
            EXPECT_EQ(::lstat(item.path().c_str(), &status), 0);
            auto line = item.path().lexically_relative(path).string() + ' ' +
                        std::to_string(status.st_mode) + ' ';
            if (item.is_symlink()) {
                line += std::filesystem::read_symlink(item.path()).string();
            } else {
                line += std::to_string(status.st_mtim.tv_sec);
                line += item.is_directory() ? "" : ' ' + contentOf(item.path());
            }
            tree.push_back(line);
        }
        std::sort(tree.begin(), tree.end());
        return tree;
    }

    /// A directory with items of every kind, in it and below.
    std::string makeSource() const {
        directory.write("src/file", "content");
        directory.write("src/Ünï cödé/ä\"b", "umlaut");
        directory.write("src/program", "#!/bin/sh\n");
        directory.write("src/.hidden", std::string(3000, 'z'));
        directory.write("src/none");
        directory.makeDirectory("src/empty");
        std::filesystem::create_symlink("file", directory / "src/link");
        std::filesystem::create_symlink("/nowhere/ö", directory / "src/broken ü");
        std::filesystem::permissions(directory / "src/program", std::filesystem::perms(0775));
        std::filesystem::permissions(directory / "src/file", std::filesystem::perms(0640));
        std::filesystem::permissions(directory / "src/Ünï cödé", std::filesystem::perms(0555));
        std::filesystem::last_write_time(directory / "src/file", longAgo());
        std::filesystem::last_write_time(directory / "src/empty", longAgo());
        std::filesystem::last_write_time(directory / "src/Ünï cödé", longAgo());
        return directory / "src";
    }

    static std::filesystem::file_time_type longAgo() {
        return std::chrono::file_clock::from_sys(
            std::chrono::sys_seconds(std::chrono::seconds(1'000'000'001)));
    }

    /// Expects exactly these items in the directory.
    void expectOnly(std::vector<std::string> names) const {
        std::vector<std::string> found;
        for (const auto& item : std::filesystem::directory_iterator(directory.path())) {
            found.push_back(item.path().filename());
        }
        std::sort(found.begin(), found.end());
        std::sort(names.begin(), names.end());
        EXPECT_EQ(found, names);
    }

    TemporaryDirectory directory;
};
