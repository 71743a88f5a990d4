#pragma once

/// How the program is called that shows messages with buttons on a session's bus, `vardonotify`.
namespace notify::helper {

inline constexpr char name[] = "example.quillstone.Vardo.Notices"; ///< on the bus, and of its interface
inline constexpr char object[] = "/example/quillstone/Vardo/Notices";
inline constexpr char show[] = "Show";
inline constexpr char arguments[] = "ssbss"; ///< the members of a Message, in their order

} // namespace notify::helper
