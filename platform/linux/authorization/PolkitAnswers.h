#pragma once

#include "platform/linux/authorization/PolkitAgent.h"
#include "platform/linux/authorization/Secret.h"

#include <sys/types.h>

#include <string>

namespace qf {
class PasswordQuestion;
}

namespace qf::native {

/// Whether a password can be passed on: it is one line, without a zero byte.
bool isOneLine(const std::string& password);

/// Answers with a user's password, once, if the user is an administrator, and gives up otherwise.
/// The password must outlive the answerer.
PolkitAnswerer answerWith(uid_t user, const std::string& password);

/// Has the person in front of the program answer, and dismisses the question if nobody does. What
/// was answered is kept in `secret`. Both must outlive the answerer.
PolkitAnswerer answerByAsking(PasswordQuestion& question, Secret& secret);

/// Whether a question is pkexec's, which this process has started, and asks for a helper to be
/// started: for the action of an installation, or pkexec's own. Any process of the user may ask
/// polkit for anything on behalf of this one.
bool isForHelper(const PolkitQuestion& question);

} // namespace qf::native
