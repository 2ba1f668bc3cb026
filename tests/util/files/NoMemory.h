#pragma once

/// While it lives, this thread gets no buffers of 65,536 bytes or more by malloc, but for the first
/// so many of them.
class NoMemory {
public:
    explicit NoMemory(int spared = 0);
    ~NoMemory();
    NoMemory(const NoMemory&) = delete;
    NoMemory& operator=(const NoMemory&) = delete;
    NoMemory(NoMemory&&) = delete;
    NoMemory& operator=(NoMemory&&) = delete;
};
