#pragma once

#include <gtest/gtest.h>

#include <array>
#include <string_view>
#include <unistd.h>

/// Replaces standard input by a pipe for a scope.
class PipedInput {
public:
    PipedInput() : former_(::dup(STDIN_FILENO)) {
        std::array<int, 2> ends{};
        EXPECT_EQ(::pipe(ends.data()), 0);
        ::dup2(ends[0], STDIN_FILENO);
        ::close(ends[0]);
        writer_ = ends[1];
    }
    ~PipedInput() {
        end();
        ::dup2(former_, STDIN_FILENO);
        ::close(former_);
    }
    PipedInput(const PipedInput&) = delete;
    PipedInput& operator=(const PipedInput&) = delete;
    PipedInput(PipedInput&&) = delete;
    PipedInput& operator=(PipedInput&&) = delete;

    void type(std::string_view text) const {
        EXPECT_EQ(::write(writer_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    /// Closes the writing end.
    void end() {
        if (writer_ >= 0) {
            ::close(writer_);
            writer_ = -1;
        }
    }

private:
    int former_;
    int writer_ = -1;
};
