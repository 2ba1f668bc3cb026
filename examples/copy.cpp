#include "platform/StartUp.h"
#include "util/files/QFFileManager.h"
#include "util/paths/QFLocalPaths.h"

#include <fstream>
#include <iostream>

namespace {

/// Receives the copy's progress; every operation may be left out.
std::shared_ptr<FileCopyDelegate> observer() {
    auto delegate = std::make_shared<FileCopyDelegate>();

    // These two are called on other threads from time to time, without delaying the copy, and the
    // first once more at the end. Returning false cancels.
    delegate->fileCopyBytesWritten = [](std::uint64_t bytes, const FileCopySettings&) {
        std::cout << "bytes: " << bytes << '\n';
    };
    delegate->fileCopyShouldContinue = [](const FileCopySettings&) { return true; };

    delegate->fileCopyVerificationFailed = [](const FileCopySettings&, const std::string& file) {
        std::cout << "damaged: " << file << '\n';
    };
    delegate->fileCopyFinished = [](const FileCopySettings& settings) {
        std::cout << "digest: " << *(*settings)["sourceChecksum"].as<std::string>() << '\n';
    };
    return delegate;
}

int backUp() {
    const auto home = QFLocalPaths::userDirectory();
    const auto recording = home + "/recording.wav";
    std::ofstream(recording) << "hardly a sound\n";

    // The file is read once, whatever the number of copies. Each copy is read back and compared;
    // one that differs is reported to the delegate and does not stop the others. Missing
    // directories are created.
    const std::vector<std::string> copies{home + "/disk 1/recording.wav",
                                          home + "/disk 2/recording.wav"};
    const bool copied = QFFileManager::copyFileWithProgress(
        recording, copies, VerificationType::md5, observer(), {}, {});
    std::cout << "copied: " << copied << '\n';

    // The digest of any file.
    std::cout << "digest: " << QFFileManager::md5HashForFile(copies.back()).value_or("none")
              << '\n';
    return 0;
}

} // namespace

int main() {
    platform::installServices({"com.example.Copy", "1.0"});
    return platform::consoleMain(backUp);
}
