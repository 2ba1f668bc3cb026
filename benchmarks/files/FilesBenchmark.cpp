// The file operations, compared with the tools that a person would use instead.
//
//     files [CASE...]     all cases when none is named

#include "benchmarks/files/Comparison.h"
#include "benchmarks/files/Playground.h"
#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/StartUp.h"
#include "platform/Workspace.h"
#include "util/files/QFFileManager.h"

#include <glob.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>

namespace {

constexpr const char* ours = "ours";

template <class T>
void require(const qf::Result<T>& result) {
    if (!result) {
        throw std::runtime_error(result.error().localizedDescription);
    }
}

qf::FileSystem& fileSystem() {
    return qf::service<qf::FileSystem>();
}

void copyTree(Playground& ground) {
    ground.makeTree("tree", 50000);
    const auto source = ground / "tree";
    const auto copy = ground / "copy";
    compare(
        "Copying a tree of 50,000 files", 5,
        {{"cp -a", [&] { return secondsOf([&] {
                             runTool({"cp", "-a", source, copy});
                         }); },
          [&] {
              runTool({"rm", "-rf", copy});
          }},
         {ours, [&] { return secondsOf([&] { require(fileSystem().copyItem(source, copy)); }); },
          [&] {
              runTool({"rm", "-rf", copy});
          }}});
}

void removeTree(Playground& ground) {
    ground.makeTree("tree", 50000);
    const auto source = ground / "tree";
    const auto copy = ground / "copy";
    const auto makeCopy = [&] { runTool({"cp", "-a", source, copy}); };
    const auto removed = [&](const std::function<void()>& removal) {
        makeCopy();
        return secondsOf(removal);
    };
    compare("Removing a tree of 50,000 files", 5,
            {{"rm -rf", [&] { return removed([&] {
                                  runTool({"rm", "-rf", copy});
                              }); }, {}},
             {ours, [&] { return removed([&] { require(fileSystem().removeItem(copy)); }); }, {}}});
}

void moveTree(Playground& ground) {
    ground.makeTree("tree", 50000);
    const OtherVolume volume;
    const auto source = ground / "tree";
    const auto item = ground / "item";
    const auto place = volume / "item";
    const auto moved = [&](const std::function<void()>& move) {
        runTool({"cp", "-a", source, item});
        runTool({"sync"});
        return secondsOf(move);
    };
    const auto clear = [&] { runTool({"rm", "-rf", place}); };
    compare("Moving a tree of 50,000 files to " + volume.description(), 5,
            {{"cp -a, diff -r, sync, rm -rf",
              [&] {
                  return moved([&] {
                      runTool({"cp", "-a", item, place});
                      runTool({"diff", "-r", "--no-dereference", item, place});
                      runTool({"sync"});
                      runTool({"rm", "-rf", item});
                  });
              },
              clear},
             {ours, [&] { return moved([&] { require(fileSystem().moveItem(item, place)); }); },
              clear}});
}

void trash(const Playground& ground, const std::vector<std::string>& names) {
    for (const auto& name : names) {
        require(qf::service<qf::Workspace>().recycle(ground / "items", ground.trash(), name));
    }
}

void trashContents(const std::string& directory) {
    if (!QFFileManager::trashDirectoryContents(directory, qf::ShouldAuth::no)) {
        throw std::runtime_error("not everything was trashed");
    }
}

void trashItems(Playground& ground) {
    constexpr int count = 10000;
    std::vector<std::string> names;
    std::vector<std::string> command{"gio", "trash"};
    for (int i = 0; i < count; ++i) {
        names.push_back("item" + std::to_string(i));
        command.push_back(ground / ("items/" + names.back()));
    }
    const auto trashed = [&](const std::function<void()>& work) {
        ground.makeFiles("items", names);
        return secondsOf(work);
    };
    const auto clear = [&] { ground.setTrashAside(); };
    compare("Trashing 10,000 items", 5,
            {{"gio trash, once for all", [&] { return trashed([&] { runTool(command); }); }, clear},
             {ours, [&] { return trashed([&] { trashContents(ground / "items"); }); }, clear}});
}

void trashNamesakes(Playground& ground) {
    const auto trashed = [&](int count) {
        double seconds = 0;
        for (int i = 0; i < count; ++i) {
            ground.makeFiles("items", {"namesake"});
            seconds += secondsOf([&] { trash(ground, {"namesake"}); });
        }
        return seconds;
    };
    const auto trashedByGio = [&](int count) {
        std::vector<std::string> command{"gio", "trash"};
        for (int i = 0; i < count; ++i) {
            const auto directory = "items/" + std::to_string(i);
            ground.makeFiles(directory, {"namesake"});
            command.push_back(ground / (directory + "/namesake"));
        }
        return secondsOf([&] { runTool(command); });
    };
    const auto clear = [&] { ground.setTrashAside(); };
    // It takes quadratic time, and would take minutes for 10,000.
    compare("Trashing items of one name", 3,
            {{"1,000, gio trash, once for all", [&] { return trashedByGio(1000); }, clear},
             {"1,000, ours", [&] { return trashed(1000); }, clear},
             {"10,000, ours", [&] { return trashed(10000); }, clear}});
}

void trashDirectory(Playground& ground) {
    const auto trashedDirectory = [&](int count) {
        std::vector<std::string> names(static_cast<std::size_t>(count));
        for (std::size_t i = 0; i < names.size(); ++i) {
            names[i] = std::to_string(i);
        }
        ground.makeFiles("items/folder", names);
        return secondsOf([&] { trash(ground, {"folder"}); });
    };
    const auto clear = [&] { ground.setTrashAside(); };
    compare("Trashing a folder", 5,
            {{"of 10 files", [&] { return trashedDirectory(10); }, clear},
             {"of 100,000 files", [&] { return trashedDirectory(100000); }, clear}});
}

void sumSizes(Playground& ground) {
    ground.makeTree("large tree", 200000);
    const auto tree = ground / "large tree";
    compare("The size of a tree of 200,000 files", 7,
            {{"du -sb",
              [&] {
                  return secondsOf([&] {
                      runTool({"bash", "-c", "exec du -sb \"$0\" > /dev/null", tree});
                  });
              },
              {}},
             {ours, [&] { return secondsOf([&] { QFFileManager::fileSize(tree); }); }, {}}});
}

/// Fails unless the pattern matches so many items.
void matchOurs(const std::string& pattern, std::size_t count) {
    if (QFFileManager::filesMatchingWildcardPath(pattern).size() != count) {
        throw std::runtime_error("another number of matches");
    }
}

void matchByGlob(const std::string& pattern, std::size_t count) {
    glob_t found{};
    const int status = ::glob(pattern.c_str(), 0, nullptr, &found);
    const auto matches = found.gl_pathc;
    ::globfree(&found);
    if (status != 0 || matches != count) {
        throw std::runtime_error("another number of matches");
    }
}

void matchWildcards(Playground& ground) {
    constexpr std::size_t count = 200000;
    ground.makeTree("large tree", static_cast<int>(count));
    const auto pattern = ground / "large tree/*/*/*";
    compare("Every file of a tree of 200,000 by wildcards", 7,
            {{"glob", [&] { return secondsOf([&] { matchByGlob(pattern, count); }); }, {}},
             {"bash",
              [&] {
                  return secondsOf([&] {
                      runTool({"bash", "-c", "cd \"$0\" && set -- */*/*", ground / "large tree"});
                  });
              },
              {}},
             {ours, [&] { return secondsOf([&] { matchOurs(pattern, count); }); }, {}}});
}

/// Returns the process's peak memory so far, in MiB.
long mostMemory() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

void listMillion(Playground& ground) {
    constexpr std::size_t count = 1000000;
    {
        std::vector<std::string> names(count);
        for (std::size_t i = 0; i < count; ++i) {
            names[i] = "entry " + std::to_string(i);
        }
        ground.makeFiles("million", names);
    }
    const auto pattern = ground / "million/*99999";
    const auto before = mostMemory();
    compare("Ten matches in a folder of 1,000,000 entries", 5,
            {{"glob", [&] { return secondsOf([&] { matchByGlob(pattern, 10); }); }, {}},
             {ours, [&] { return secondsOf([&] { matchOurs(pattern, 10); }); }, {}}});
    std::printf("  at most %ld MiB more than before\n", mostMemory() - before);
}

struct Case {
    const char* name;
    void (*run)(Playground&);
};

constexpr std::array cases{
    Case{"trash-items", trashItems},
    Case{"trash-folder", trashDirectory},
    Case{"trash-one-name", trashNamesakes},
    Case{"copy", copyTree},
    Case{"remove", removeTree},
    Case{"move", moveTree},
    Case{"size", sumSizes},
    Case{"wildcards", matchWildcards},
    Case{"million", listMillion},
};

/// Runs the cases with these names, or all if no name is given.
void run(const std::vector<std::string>& names) {
    Playground ground; // Before the services: it becomes the home directory.
    qf::installServices();
    for (const auto& [name, runCase] : cases) {
        if (names.empty() || std::ranges::find(names, name) != names.end()) {
            runCase(ground);
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        run({argv + 1, argv + argc});
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
}
