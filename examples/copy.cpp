#include "qf/platform/StartUp.h"
#include "qf/util/files/QFFileManager.h"
#include "qf/util/paths/QFLocalPaths.h"

#include <fstream>
#include <iostream>

namespace {

/// Receives the copy's progress; every operation may be left out.
std::shared_ptr<qf::FileCopyDelegate> observer() {
    auto delegate = std::make_shared<qf::FileCopyDelegate>();

    // These two are called on other threads from time to time, without delaying the copy, and the
    // first once more at the end. Returning false cancels.
    delegate->fileCopyBytesWritten = [](std::uint64_t bytes, const qf::FileCopySettings&) {
        std::cout << "bytes: " << bytes << '\n';
    };
    delegate->fileCopyShouldContinue = [](const qf::FileCopySettings&) { return true; };

    delegate->fileCopyVerificationFailed = [](const qf::FileCopySettings&,
                                              const std::string& file) {
        std::cout << "damaged: " << file << '\n';
    };
    delegate->fileCopyFinished = [](const qf::FileCopySettings& settings) {
        // A copy without verification has no digest.
        const auto digest = (*settings)["sourceChecksum"];
        if (const auto* text = digest.as<std::string>()) {
            std::cout << "digest: " << *text << '\n';
        }
    };
    return delegate;
}

int backUp() {
    const auto home = QFLocalPaths::userDirectory();
    const auto recording = home + "/recording.wav";
    std::ofstream(recording) << "hardly a sound\n";

    // The file is read once, whatever the number of copies. Missing directories are created. Each
    // copy is read back and compared; one that differs is reported to the delegate and does not
    // stop the others. One that cannot be opened, or whose directory cannot be created, stops all
    // of them: nothing is copied. The last two arguments are values of the program's own, which the
    // delegate finds in the settings. True means that all of the source was read, not that every
    // copy is good.
    const std::vector<std::string> copies{home + "/disk 1/recording.wav",
                                          home + "/disk 2/recording.wav"};
    const bool copied = QFFileManager::copyFileWithProgress(
        recording, copies, qf::VerificationType::md5, observer(), {}, {});
    std::cout << "copied: " << copied << '\n';

    // The digest of any file.
    std::cout << "digest: " << QFFileManager::md5HashForFile(copies.back()).value_or("none")
              << '\n';
    return 0;
}

} // namespace

int main() {
    qf::installServices({"com.example.Copy", "1.0"});
    return qf::consoleMain(backUp);
}
