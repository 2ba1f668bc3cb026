#pragma once

#include "tests/platform/linux/authorization/helper/HelperHarness.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <string>
#include <vector>

inline struct stat statusOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status;
}

inline mode_t rightsOf(const std::string& path) {
    return statusOf(path).st_mode & 07777U;
}

/// Sets the times of an item to a day that is long gone.
inline void makeOld(const std::string& path) {
    const timespec times[]{{1'000'000, 0}, {1'000'000, 0}};
    EXPECT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

inline bool isOld(const std::string& path) {
    return statusOf(path).st_mtim.tv_sec == 1'000'000;
}

/// Items of root's and of the user's, and links between them.
class PlantedItems : public HelperTest {
protected:
    void SetUp() override {
        HelperTest::SetUp();
        if (!IsSkipped()) {
            secret_ = makeFile(sandbox::rootsDirectory + "/secret", 0, 0600);
            makeOld(secret_);
            secretsContent_ = contentOf(secret_);
        }
    }

    const std::string& secret() const { return secret_; }

    /// A link to the secret in a directory of the user's.
    std::string plantedLink() { return makeLink(secret_, usersDirectory() + "/link", servedUser); }

    /// The directory where root's secret is, as a user's link leads to it.
    std::string plantedDirectory() {
        return makeLink(sandbox::rootsDirectory, usersDirectory() + "/way", servedUser);
    }

    void expectSecretUntouched() const {
        EXPECT_EQ(contentOf(secret_), secretsContent_);
        EXPECT_EQ(statusOf(secret_).st_uid, 0U);
        EXPECT_EQ(rightsOf(secret_), 0600U);
        EXPECT_TRUE(isOld(secret_));
    }

    static qf::native::helper::Status run(const std::string& tool,
                                          const std::vector<std::string>& arguments) {
        return TestedHelper().run(tool, arguments);
    }
    /// Has a file given to root with a content that the request brings.
    static qf::native::helper::Status giveToRoot(const std::string& file,
                                                 const std::string& content) {
        return send("/bin/chown", {"root:wheel", file}, content);
    }
    static qf::native::helper::Status send(const std::string& tool,
                                           const std::vector<std::string>& arguments,
                                           const std::string& content) {
        const auto answer =
            TestedHelper().send(*qf::native::helper::encodeRequest(tool, arguments, content));
        return answer.status.value_or(qf::native::helper::Status::ready);
    }
    static qf::native::helper::Status copy(const std::string& from, const std::string& to) {
        return run("/bin/cp", {"-f", "-p", "-R", from, to});
    }

private:
    std::string secret_;
    std::string secretsContent_;
};
