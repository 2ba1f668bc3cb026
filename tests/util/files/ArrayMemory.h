#pragma once

/// While it lives, arrays of 65,536 bytes or more that this thread allocates without exceptions
/// fail, but for the first so many of them.
class NoMemoryForArrays {
public:
    explicit NoMemoryForArrays(int spared = 0);
    ~NoMemoryForArrays();
    NoMemoryForArrays(const NoMemoryForArrays&) = delete;
    NoMemoryForArrays& operator=(const NoMemoryForArrays&) = delete;
    NoMemoryForArrays(NoMemoryForArrays&&) = delete;
    NoMemoryForArrays& operator=(NoMemoryForArrays&&) = delete;
};
