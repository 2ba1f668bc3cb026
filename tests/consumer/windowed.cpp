// A program with a window, which it closes by itself.

#include "platform/Application.h"
#include "platform/Services.h"
#include "platform/StartUp.h"

#include <iostream>

int main(int argc, char** argv) {
    platform::installServices({"com.example.Windowed", "2.5"});
    return platform::windowedMain(
        argc, argv, argc > 1 ? argv[1] : "", [](platform::Interface& interface) {
            auto& window = interface.window("windowMain");
            platform::service<platform::Application>().performOnMainThread(
                [&window] {
                    std::cout << "window: " << (window.isVisible() ? "shown" : "hidden")
                              << std::endl;
                    platform::service<platform::Application>().terminate();
                },
                platform::Wait::no);
        });
}
