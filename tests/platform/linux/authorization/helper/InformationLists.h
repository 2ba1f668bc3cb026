#pragma once

#include <string>

/// Returns the property list of an application with this identifier, and with others where they do
/// not count.
inline std::string listWith(const std::string& identifier) {
    return "<?xml version=\"1.0\"?>\n<!-- <key>CFBundleIdentifier</key> -->\n<plist><dict>\n"
           "<key>Other</key><dict><key>CFBundleIdentifier</key><string>inner</string></dict>\n"
           "<key>Name</key><string>inner</string><key>List</key><array></array>\n"
           "<key>CFBundleIdentifier</key>\n<string>" +
           identifier + "</string>\n</dict></plist>\n";
}

/// Returns a binary property list: a dictionary with one key of more than fourteen letters.
/// `outermost` is the number of the list's object that counts: 0 is the dictionary, 1 its key.
/// Each place of an object has `placeSize` bytes.
inline std::string binaryListWith(const std::string& identifier, char outermost = 0,
                                  char placeSize = 1) {
    using namespace std::string_literals;
    const std::string key = "\x5f\x10\x12"
                            "CFBundleIdentifier"s;
    const std::string value = "\x5f\x10"s + static_cast<char>(identifier.size()) + identifier;
    const std::string objects = "\xd1\x01\x02"s + key + value;
    const std::string head = "bplist00";
    const auto number = [](std::size_t what, std::size_t size) {
        return std::string(size - 1, '\0') + static_cast<char>(what);
    };
    const auto placeOf = [&](std::size_t place) {
        return number(head.size() + place, static_cast<std::size_t>(placeSize));
    };
    const std::string places = placeOf(0) + placeOf(3) + placeOf(3 + key.size());
    return head + objects + places + std::string(6, '\0') + placeSize + "\x01"s + number(3, 8) +
           number(static_cast<std::size_t>(outermost), 8) + number(head.size() + objects.size(), 8);
}
