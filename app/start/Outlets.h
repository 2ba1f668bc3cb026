#pragma once

/// What start-up itself uses of the interface file.
namespace start {

inline constexpr const char* mainWindowOutlet = "windowMain";
inline constexpr const char* removeSharedOutlet = "removeSharedCheck";
inline constexpr const char* progressItemOutlet = "progressItem";
inline constexpr const char* showItemsAction = "showItems:";

} // namespace start
