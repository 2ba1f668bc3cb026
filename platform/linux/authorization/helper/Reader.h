#pragma once

#include "platform/linux/authorization/helper/Walk.h"

#include <sys/types.h>

namespace qf::native::helper {

/// With whose rights a process reads what it copies: those of the owner of the whole, in a process
/// that does nothing else, and that ends with its parent: with other rights the kernel forgets
/// that, so it is told again. What is that owner's own is read whatever its mode.
class Reader {
public:
    /// Takes on the owner's groups; root remains as it is. Throws a Refusal.
    explicit Reader(uid_t owner);

    /// Has this process look at an item, and at what is in it, with the reader's rights, for a
    /// scope.
    class Turn {
    public:
        Turn(const Reader& reader, const Item& item);
        ~Turn();
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;
        Turn(Turn&&) = delete;
        Turn& operator=(Turn&&) = delete;

    private:
        bool isTaken_;
        pid_t parent_;
    };

private:
    const uid_t owner_;
    const pid_t parent_;
};

} // namespace qf::native::helper
