#include "platform/foundation/Date.h"

#include "platform/foundation/Format.h"

namespace qf {

namespace {

std::string described(std::chrono::sys_seconds second) {
    using namespace std::chrono;
    const auto day = floor<days>(second);
    const year_month_day calendar(day);
    const hh_mm_ss time(second - day);
    return qf::format("%04d-%02u-%02u %02d:%02d:%02d +0000", static_cast<int>(calendar.year()),
                      static_cast<unsigned>(calendar.month()),
                      static_cast<unsigned>(calendar.day()), time.hours().count(),
                      time.minutes().count(), time.seconds().count());
}

/// The last date that a thread described: a log asks for the same second many times in a row.
struct Described {
    std::chrono::sys_seconds second;
    std::string text;
};

} // namespace

std::string description(Date date) {
    std::string text;
    appendDescription(text, date);
    return text;
}

void appendDescription(std::string& text, Date date) {
    thread_local Described last{std::chrono::sys_seconds::min(), {}};
    const auto second = std::chrono::floor<std::chrono::seconds>(date);
    if (second != last.second) {
        last = {second, described(second)};
    }
    text += last.text;
}

} // namespace qf
