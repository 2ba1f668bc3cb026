#pragma once

#include <string>

/// Returns the property list of an application with this identifier, and with others where they do
/// not count.
inline std::string listWith(const std::string& identifier) {
    return "<?xml version=\"1.0\"?>\n<!-- <key>CFBundleIdentifier</key> -->\n<plist><dict>\n"
           "<key>Other</key><dict><key>CFBundleIdentifier</key><string>inner</string></dict>\n"
           "<key>CFBundleIdentifier</key>\n<string>" +
           identifier + "</string>\n</dict></plist>\n";
}

/// Returns a binary property list: a dictionary with one key of more than fourteen letters.
/// `outermost` is the number of the list's object that counts: 0 is the dictionary, 1 its key.
inline std::string binaryListWith(const std::string& identifier, char outermost = 0) {
    using namespace std::string_literals;
    const std::string key = "\x5f\x10\x12"
                            "CFBundleIdentifier"s;
    const std::string value = "\x5f\x10"s + static_cast<char>(identifier.size()) + identifier;
    const std::string objects = "\xd1\x01\x02"s + key + value;
    const std::string head = "bplist00";
    const auto placeOf = [&](std::size_t place) {
        return std::string(1, static_cast<char>(head.size() + place));
    };
    const std::string places = placeOf(0) + placeOf(3) + placeOf(3 + key.size());
    return head + objects + places + std::string(6, '\0') + "\x01\x01"s + std::string(7, '\0') +
           "\x03"s + std::string(7, '\0') + outermost + std::string(7, '\0') +
           placeOf(objects.size());
}
