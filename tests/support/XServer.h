#pragma once

#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

/// A program that runs until the scope's end.
class ChildProgram {
public:
    /// `openFile` stays open in the child; -1 for none.
    ChildProgram(std::vector<std::string> command, int openFile);
    ~ChildProgram();
    ChildProgram(const ChildProgram&) = delete;
    ChildProgram& operator=(const ChildProgram&) = delete;
    ChildProgram(ChildProgram&&) = delete;
    ChildProgram& operator=(ChildProgram&&) = delete;

private:
    pid_t process_ = -1;
};

/// Returns the commands among `names` that this machine lacks, as one text; empty if it has them
/// all.
std::string missingCommands(const std::vector<std::string>& names);

/// An X server with an invisible screen, and its display's name.
class XServer {
public:
    XServer();

    /// Returns the display's name, such as ":7"; empty if the server did not start.
    const std::string& display() const { return display_; }

private:
    std::unique_ptr<ChildProgram> server_;
    std::string display_;
};
