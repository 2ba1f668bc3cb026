#include "qf/platform/StartUp.h"
#include "qf/util/paths/QFLocalPaths.h"

#include <iostream>

int main() {
    qf::installServices({"com.example.Paths", "1.0"});

    std::cout << "my caches:           " << *QFLocalPaths::cacheDirectory(qf::Domain::user) << '\n'
              << "everybody's caches:  " << *QFLocalPaths::cacheDirectory(qf::Domain::local) << '\n'
              << "what I throw away:   " << QFLocalPaths::trashDirectory() << '\n';

    for (const auto* path :
         {"/Applications", "/Applications/Player.app", "/System/Library/Fonts"}) {
        const bool isProtected = QFLocalPaths::isPathSystemDirectory(path);
        std::cout << path << (isProtected ? " must stay\n" : " may go\n");
    }
}
