// A program with a window, which it closes by itself.

#include "qf/platform/Application.h"
#include "qf/platform/Services.h"
#include "qf/platform/StartUp.h"

#include <iostream>

int main(int argc, char** argv) {
    qf::installServices({"com.example.Windowed", "2.5"});
    return qf::windowedMain(argc, argv, argc > 1 ? argv[1] : "", [](qf::Interface& interface) {
        auto& window = interface.window("windowMain");
        qf::service<qf::Application>().performOnMainThread(
            [&window] {
                std::cout << "window: " << (window.isVisible() ? "shown" : "hidden") << std::endl;
                qf::service<qf::Application>().terminate();
            },
            qf::Wait::no);
    });
}
