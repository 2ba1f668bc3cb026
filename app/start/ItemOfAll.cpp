#include "app/start/ItemOfAll.h"

#include "platform/Language.h"
#include "platform/foundation/Path.h"

namespace start {

namespace {

constexpr auto nameAndProgress = qf::translatable("MainMenu", "%1, %2 of %3");

} // namespace

std::string itemOfAll(const std::string& path, records::Progress progress) {
    return qf::translated(nameAndProgress, qf::path::lastComponent(path),
                          std::to_string(progress.number), std::to_string(progress.total));
}

} // namespace start
