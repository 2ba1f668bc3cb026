// The file operations, beside the tools that a person would use instead.
//
//     files [CASE...]     all cases when none is named

#include "benchmarks/files/Comparison.h"
#include "benchmarks/files/Playground.h"
#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/StartUp.h"
#include "platform/Workspace.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>

namespace {

constexpr const char* ours = "ours";

void require(const std::optional<platform::Error>& error) {
    if (error) {
        throw std::runtime_error(error->localizedDescription);
    }
}

platform::FileSystem& fileSystem() {
    return platform::service<platform::FileSystem>();
}

void copyTree(const Playground& ground) {
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

void removeTree(const Playground& ground) {
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

void moveTree(const Playground& ground) {
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
        require(platform::service<platform::Workspace>().recycle(ground / "items", ground.trash(),
                                                                 name));
    }
}

void trashItems(const Playground& ground) {
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
    const auto clear = [&] { ground.emptyTrash(); };
    compare("Trashing 10,000 items", 5,
            {{"gio trash, once for all", [&] { return trashed([&] { runTool(command); }); }, clear},
             {ours, [&] { return trashed([&] { trash(ground, names); }); }, clear}});
}

void trashFolder(const Playground& ground) {
    const auto trashedFolder = [&](int count) {
        std::vector<std::string> names(static_cast<std::size_t>(count));
        for (std::size_t i = 0; i < names.size(); ++i) {
            names[i] = std::to_string(i);
        }
        ground.makeFiles("items/folder", names);
        return secondsOf([&] { trash(ground, {"folder"}); });
    };
    const auto clear = [&] { ground.emptyTrash(); };
    compare("Trashing a folder", 5,
            {{"of 10 files", [&] { return trashedFolder(10); }, clear},
             {"of 100,000 files", [&] { return trashedFolder(100000); }, clear}});
}

struct Case {
    const char* name;
    void (*run)(const Playground&);
};

constexpr std::array cases{
    Case{"trash-items", trashItems}, Case{"trash-folder", trashFolder},
    Case{"copy", copyTree},          Case{"remove", removeTree},
    Case{"move", moveTree},
};

/// Runs the cases of these names, all when there are none.
void run(const std::vector<std::string>& names) {
    const Playground ground; // Before the services: it becomes the home folder.
    platform::installServices();
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
