#pragma once

#include "platform/linux/posix/EntryRef.h"
#include "platform/linux/posix/Errno.h"

#include <string>

namespace qf::native {

/// Returns `text` cut to at most `size` bytes, but not inside a character.
std::string cutTo(std::string text, std::size_t size);

/// Returns the name to use if `name` is taken, on the `count`th try, from 2 on: "name 2.ext". The
/// part before the extension is cut, between characters, if the name would be longer than the limit
/// of 255 bytes.
std::string numberedName(const std::string& name, int count);

/// Moves an entry into the open directory `destination`, under its own name or the first numbered
/// one that is free there, even to another volume, as moveItem() does. Nothing is ever replaced,
/// and a link is moved itself. Returns the name.
SystemResult<std::string> moveToUniqueName(const EntryRef& source, int destination);

} // namespace qf::native
