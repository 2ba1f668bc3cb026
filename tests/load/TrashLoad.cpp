// Moves items of one name into the Trash: trash-load THREADS COUNT FOLDER. The items are
// FOLDER/NUMBER/Take.wav; it prints a line "NUMBER PLACE" for each, or why it was not moved. The
// status is 0 if all were moved.

#include "qf/platform/StartUp.h"
#include "qf/util/files/QFFileManager.h"

#include <atomic>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

namespace {

/// Returns whether the item of this number was moved.
bool trash(const std::string& folder, int number) {
    const auto path = folder + "/" + std::to_string(number) + "/Take.wav";
    const auto result = QFFileManager::trashFileWithResult(path, qf::ShouldAuth::no);
    const bool isMoved = result.outcome == qf::TrashOutcome::moved;
    const auto told = isMoved        ? result.place
                      : result.error ? result.error->localizedDescription
                                     : "it does not exist";
    std::cout << std::to_string(number) + " " + told + "\n";
    return isMoved;
}

} // namespace

int main(int argc, char* argv[]) {
    const std::vector<std::string> given(argv + 1, argv + argc);
    const int count = std::stoi(given.at(1));
    qf::installServices({"com.example.Load", "1.0"});
    std::atomic<int> next{0};
    std::atomic<bool> areAllMoved{true};
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < std::stoi(given.at(0)); ++thread) {
            threads.emplace_back([&] {
                for (int number = next++; number < count; number = next++) {
                    if (!trash(given.at(2), number)) {
                        areAllMoved = false;
                    }
                }
            });
        }
    }
    return areAllMoved ? 0 : 1;
}
