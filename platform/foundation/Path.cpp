#include "platform/foundation/Path.h"

#include <cstddef>

namespace qf::path {

namespace {

std::string_view withoutTrailingSlashes(std::string_view path) {
    const auto last = path.find_last_not_of('/');
    if (last == std::string_view::npos) {
        return path.substr(0, 1);
    }
    return path.substr(0, last + 1);
}

/// Returns the length of the extension with its dot, 0 if there is none.
std::size_t dottedExtensionLength(std::string_view name) {
    const auto dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || dot + 1 == name.size()) {
        return 0;
    }
    return name.size() - dot;
}

} // namespace

std::string appending(std::string_view path, std::string_view component) {
    if (path.empty()) {
        return std::string(withoutTrailingSlashes(component));
    }
    std::string joined;
    joined.reserve(path.size() + 1 + component.size());
    joined = withoutTrailingSlashes(path);
    const auto first = component.find_first_not_of('/');
    if (first == std::string_view::npos) {
        return joined;
    }
    if (joined.back() != '/') {
        joined += '/';
    }
    return joined.append(withoutTrailingSlashes(component.substr(first)));
}

std::vector<std::string> components(std::string_view path) {
    std::vector<std::string> parts;
    if (path.starts_with('/')) {
        parts.emplace_back("/");
    }
    for (auto begin = path.find_first_not_of('/'); begin != std::string_view::npos;) {
        const auto end = path.find('/', begin);
        parts.emplace_back(path.substr(begin, end - begin));
        begin = path.find_first_not_of('/', end);
    }
    return parts;
}

std::string lastComponent(std::string_view path) {
    const auto trimmed = withoutTrailingSlashes(path);
    if (trimmed == "/") {
        return "/";
    }
    return std::string(trimmed.substr(trimmed.rfind('/') + 1));
}

std::string deletingLastComponent(std::string_view path) {
    const auto trimmed = withoutTrailingSlashes(path);
    const auto slash = trimmed.rfind('/');
    if (slash == std::string_view::npos) {
        return {};
    }
    return std::string(withoutTrailingSlashes(trimmed.substr(0, slash == 0 ? 1 : slash)));
}

std::string extension(std::string_view path) {
    const auto name = lastComponent(path);
    const auto length = dottedExtensionLength(name);
    return length == 0 ? std::string() : name.substr(name.size() - length + 1);
}

std::string deletingExtension(std::string_view path) {
    const auto trimmed = withoutTrailingSlashes(path);
    const auto length = dottedExtensionLength(lastComponent(trimmed));
    return std::string(trimmed.substr(0, trimmed.size() - length));
}

} // namespace qf::path
