// A program whose own names are those that the library uses: they do not meet.

class Application;
class Async;
class Block;
class CalibratedColor;
class Console;
class Date;
class Delegate;
class Domain;
class Error;
class ExactMatch;
class FSRef;
class FileSystem;
class LogError;
class LogOutput;
class MD5Context;
class Preferences;
class Result;
class ShouldAuth;
class TaskArguments;
class Timeout;
class TrashResult;
class UserInterface;
class Value;
class VerificationType;
class Window;
namespace platform {
class Clock;
}
int recycle = 0;
int service = 0;
int uncaughtExceptionHandler = 0;

#include "qf/platform/StartUp.h"
#include "qf/platform/Windows.h"
#include "qf/util/alert/QFAlert.h"
#include "qf/util/auth/QFAuthorization.h"
#include "qf/util/files/QFFileManager.h"
#include "qf/util/launchd/QFLaunchd.h"
#include "qf/util/log/QFException.h"
#include "qf/util/log/QFLog.h"
#include "qf/util/paths/QFLocalPaths.h"
#include "qf/util/task/QFTaskEx.h"
