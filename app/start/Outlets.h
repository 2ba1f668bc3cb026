#pragma once

/// What start-up itself uses of the interface file, and what it calls the program.
namespace start {

inline constexpr const char* mainWindowOutlet = "windowMain";
inline constexpr const char* removeSharedOutlet = "removeSharedCheck";
inline constexpr const char* progressItemOutlet = "progressItem";
inline constexpr const char* showItemsAction = "showItems:";
inline constexpr const char* putBackWindowOutlet = "windowPutBack";
inline constexpr const char* putBackBarOutlet = "putBackBar";
inline constexpr const char* putBackItemOutlet = "putBackItem";
inline constexpr const char* putBackAction = "putBack:";

/// The program, for people.
inline constexpr const char* uninstaller = "Kelvane Uninstaller";

} // namespace start
