// What shows that a process waits for one system call and for nothing else.

#include "platform/linux/authorization/helper/Activity.h"

#include "tests/support/NamedCase.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <string>
#include <utility>
#include <vector>

using qf::native::helper::Activities;
using qf::native::helper::activityOf;
using qf::native::helper::haveHung;

namespace {

/// A process that reads a pipe until that ends, itself or through a child of its own.
class ReadingProcess {
public:
    enum class Reader { itself, child, secondChild };

    explicit ReadingProcess(Reader reader) {
        EXPECT_EQ(::pipe2(ends_.data(), O_CLOEXEC), 0);
        process_ = ::fork();
        if (process_ == 0) {
            ::close(ends_[1]);
            if (reader == Reader::secondChild && ::fork() == 0) {
                pollfd end{ends_[0], 0, 0}; // which what is written is not
                ::poll(&end, 1, -1);
                ::_exit(0);
            }
            if (reader != Reader::itself && ::fork() != 0) {
                while (::wait(nullptr) > 0) {
                }
                ::_exit(0);
            }
            for (char byte = 0; ::read(ends_[0], &byte, 1) == 1;) {
            }
            ::_exit(0);
        }
        ::close(ends_[0]);
    }
    ~ReadingProcess() {
        ::close(ends_[1]);
        ::waitpid(process_, nullptr, 0);
    }
    ReadingProcess(const ReadingProcess&) = delete;
    ReadingProcess& operator=(const ReadingProcess&) = delete;
    ReadingProcess(ReadingProcess&&) = delete;
    ReadingProcess& operator=(ReadingProcess&&) = delete;

    std::string activity() const { return activityOf(process_); }

    /// Returns what its activity stays at while nothing wakes it.
    std::string settledActivity() const {
        constexpr useconds_t longerThanItTakesToBegin = 20'000;
        std::string last;
        std::string next;
        do {
            last = std::move(next);
            ::usleep(longerThanItTakesToBegin);
            next = activity();
        } while (next.empty() || next != last);
        return last;
    }
    void wake() const { EXPECT_EQ(::write(ends_[1], "x", 1), 1); }

private:
    std::array<int, 2> ends_{-1, -1};
    pid_t process_ = -1;
};

} // namespace

class HelperActivity : public testing::TestWithParam<ReadingProcess::Reader> {};

TEST_P(HelperActivity, ChangesWhenAProcessOrItsChildRuns) {
    const ReadingProcess process(GetParam());
    const std::string before = process.settledActivity();
    ASSERT_FALSE(before.empty());
    process.wake();
    while (process.activity() == before) { // until the system has woken it
    }
}

INSTANTIATE_TEST_SUITE_P(Readers, HelperActivity,
                         testing::Values(ReadingProcess::Reader::itself,
                                         ReadingProcess::Reader::child,
                                         ReadingProcess::Reader::secondChild));

TEST(HelperActivityOfNobody, IsEmpty) {
    EXPECT_EQ(activityOf(-1), "");
}

struct HangCase : NamedCase {
    std::vector<Activities> processes;
    bool haveHung;
};

class HelperHang : public testing::TestWithParam<HangCase> {};

TEST_P(HelperHang, IsThatNoneOfTheProcessesDoesAnything) {
    EXPECT_EQ(haveHung(GetParam().processes), GetParam().haveHung);
}

INSTANTIATE_TEST_SUITE_P(
    , HelperHang,
    testing::Values(HangCase{{"NoProcess"}, {}, false}, HangCase{{"Idle"}, {{"1", "1"}}, true},
                    HangCase{{"Working"}, {{"1", "2"}}, false},
                    HangCase{{"NotTold"}, {{"", ""}}, false},
                    HangCase{{"NewlyStarted"}, {{"", "1"}}, false},
                    HangCase{{"Ended"}, {{"1", ""}}, false},
                    HangCase{{"AllIdle"}, {{"1", "1"}, {"2", "2"}}, true},
                    HangCase{{"WaitingForAnother"}, {{"1", "1"}, {"2", "3"}}, false}),
    nameOfCase);
