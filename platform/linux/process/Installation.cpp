#include "platform/linux/process/Installation.h"

#include <link.h>

#include <cstdint>
#include <filesystem>

namespace qf::native {

namespace {

namespace fs = std::filesystem;

/// Finds the loaded file that contains an address.
struct Search {
    std::uintptr_t address;
    /// The library's path, as the loader knows it; empty for the program itself.
    std::string sharedObject;
};

bool contains(const dl_phdr_info& file, std::uintptr_t address) {
    for (unsigned index = 0; index < file.dlpi_phnum; ++index) {
        const auto& segment = file.dlpi_phdr[index];
        const auto begin = file.dlpi_addr + segment.p_vaddr;
        if (segment.p_type == PT_LOAD && address >= begin && address < begin + segment.p_memsz) {
            return true;
        }
    }
    return false;
}

int examine(dl_phdr_info* file, std::size_t /*size*/, void* data) {
    auto& search = *static_cast<Search*>(data);
    if (!contains(*file, search.address)) {
        return 0;
    }
    search.sharedObject = file->dlpi_name;
    return 1;
}

/// Returns the shared library that contains this code; the empty string in a program.
std::string ownLibrary() {
    Search search{reinterpret_cast<std::uintptr_t>(&ownLibrary), {}};
    ::dl_iterate_phdr(examine, &search);
    return search.sharedObject;
}

std::string beside(const fs::path& file, const std::string& directory) {
    return (file.parent_path() / directory).lexically_normal().string();
}

} // namespace

std::string installationDirectory() {
    if (const auto library = ownLibrary(); !library.empty()) {
        std::error_code error;
        const auto file = fs::canonical(library, error);
        return error ? std::string() : beside(file, QF_FOLDER_FROM_LIBRARY);
    }
    return directoryBesideProgram(QF_FOLDER_FROM_PROGRAM);
}

std::string directoryBesideProgram(const std::string& path) {
    std::error_code error;
    const auto program = fs::read_symlink("/proc/self/exe", error);
    return error ? std::string() : beside(program, path);
}

} // namespace qf::native
