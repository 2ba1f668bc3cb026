// Has each of many threads ask a question of its own: alert-load COUNT, where "alert.ui" is. Thread
// N shows "Question N" and prints "N ANSWER".

#include "qf/platform/Application.h"
#include "qf/platform/Services.h"
#include "qf/platform/StartUp.h"
#include "qf/platform/foundation/Thread.h"
#include "qf/util/alert/QFAlert.h"

#include <iostream>
#include <string>
#include <thread>
#include <vector>

namespace {

void ask(int number) {
    const auto name = std::to_string(number);
    const int answer = QFAlert::alertSheetWithMessageText(
        "Question " + name, "Save", "Cancel", "Discard", "It is thread " + name + " that asks.",
        nullptr, qf::Block::yes);
    std::cout << name + " " + std::to_string(answer) + "\n" << std::flush;
}

void askAllAndTerminate(int count) {
    std::vector<std::jthread> threads;
    for (int number = 0; number < count; ++number) {
        threads.emplace_back(ask, number);
    }
    threads.clear();
    auto& application = qf::service<qf::Application>();
    application.performOnMainThread([&] { application.terminate(); }, qf::Wait::no);
}

} // namespace

int main(int argc, char* argv[]) {
    const int count = std::stoi(std::vector<std::string>(argv + 1, argv + argc).at(0));
    qf::installServices({"com.example.Load", "1.0"});
    return qf::windowedMain(argc, argv, "alert.ui", [count](qf::Interface& /*interface*/) {
        qf::detachNewThread([count] { askAllAndTerminate(count); });
    });
}
