#pragma once

#include "platform/linux/posix/Errno.h"

#include <string>

namespace platform::native {

/// `text` cut to at most `size` bytes, not inside a character.
std::string cutTo(std::string text, std::size_t size);

/// The name that a namesake gets on the `count`th try, from 2 on: "name 2.ext". The part before the
/// extension is cut, between characters, where the whole would be longer than the 255 bytes that a
/// name may have.
std::string numberedName(const std::string& name, int count);

/// Moves the entry `name` of the open directory `source` into the open directory `destination`,
/// under its own name or the first numbered one that is free there. Nothing is ever replaced, and a
/// link is moved itself; onto another volume, too, as moveItem() does.
SystemResult<void> moveToUniqueName(int source, const std::string& name, int destination);

} // namespace platform::native
