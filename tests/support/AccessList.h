#pragma once

#include <string_view>

/// An access control list as system.posix_acl_default holds it: version 2; the owner rwx, user
/// 65534 rwx, the group rx, the mask rwx, others rx.
inline constexpr std::string_view listForNewItems("\x02\0\0\0"
                                                  "\x01\0\x07\0\xFF\xFF\xFF\xFF"
                                                  "\x02\0\x07\0\xFE\xFF\0\0"
                                                  "\x04\0\x05\0\xFF\xFF\xFF\xFF"
                                                  "\x10\0\x07\0\xFF\xFF\xFF\xFF"
                                                  "\x20\0\x05\0\xFF\xFF\xFF\xFF",
                                                  44);
