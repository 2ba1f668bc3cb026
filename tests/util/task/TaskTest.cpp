#include "tests/util/task/TaskTest.h"

#include "platform/Services.h"
#include "platform/linux/process/ProcessLauncher.h"
#include "tests/support/TestClock.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

PackageWorkspace& PackageWorkspace::shared() {
    static auto& workspace = *new PackageWorkspace;
    return workspace;
}

void TaskTest::SetUpTestSuite() {
    static auto& launcher = *new qf::native::ProcessLauncher;
    TestClock::install();
    qf::install<qf::ProcessLauncher>(launcher);
    qf::install<qf::Workspace>(PackageWorkspace::shared());
    qf::install<qf::Application>(MainLoop::shared());
}

TaskTest::~TaskTest() {
    EXPECT_TRUE(eventually([] { return zombies() == 0; }));
}

std::string TaskTest::gate(const std::string& name) const {
    ::mkfifo(file(name).c_str(), S_IRUSR | S_IWUSR);
    return "read line < '" + file(name) + "'";
}

void TaskTest::openGate(const std::string& name) const {
    std::ofstream(file(name)) << "open\n";
}

bool TaskTest::waitForFile(const std::string& name) const {
    return eventually([this, &name] { return fs::exists(file(name)); });
}

std::string TaskTest::writeTool(const std::string& name, const std::string& content) const {
    auto path = directory_.write(name, content);
    ::chmod(path.c_str(), S_IRWXU);
    return path;
}

std::string TaskTest::text(const std::optional<qf::Data>& data) {
    if (!data) {
        return "no data";
    }
    std::string bytes;
    for (const std::byte byte : data->bytes) {
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

std::string TaskTest::ownStream(int number) {
    return fs::read_symlink("/proc/self/fd/" + std::to_string(number)).string();
}

int TaskTest::zombies() {
    int count = 0;
    for (const auto& process : fs::directory_iterator("/proc")) {
        std::ifstream file(process.path() / "stat");
        std::string fields;
        std::getline(file, fields);
        const auto name = fields.rfind(") ");
        if (name == std::string::npos) {
            continue;
        }
        std::istringstream afterName(fields.substr(name + 2));
        char state = ' ';
        int parent = 0;
        afterName >> state >> parent;
        count += state == 'Z' && parent == ::getpid() ? 1 : 0;
    }
    return count;
}
