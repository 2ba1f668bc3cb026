#include "platform/StartUp.h"
#include "util/paths/QFLocalPaths.h"

#include <iostream>

int main() {
    platform::installServices({"com.example.Paths", "1.0"});

    std::cout << "my caches:           " << *QFLocalPaths::cacheDirectory(Domain::user) << '\n'
              << "everybody's caches:  " << *QFLocalPaths::cacheDirectory(Domain::local) << '\n'
              << "what I throw away:   " << QFLocalPaths::trashDirectory() << '\n';

    for (const auto* path :
         {"/Applications", "/Applications/Player.app", "/System/Library/Fonts"}) {
        const bool isProtected = QFLocalPaths::isPathSystemDirectory(path);
        std::cout << path << (isProtected ? " must stay\n" : " may go\n");
    }
}
