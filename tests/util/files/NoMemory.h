#pragma once

/// While it lives, malloc returns this thread no buffers of 65,536 bytes or more, except the first
/// so many.
class NoMemory {
public:
    explicit NoMemory(int spared = 0);
    ~NoMemory();
    NoMemory(const NoMemory&) = delete;
    NoMemory& operator=(const NoMemory&) = delete;
    NoMemory(NoMemory&&) = delete;
    NoMemory& operator=(NoMemory&&) = delete;
};
