#pragma once

class Vardo;

/// Tells the user that the signatures are older than the settings allow, and updates them when root wants
/// that. `engine` gives the limit. The start goes on whatever comes of it.
void alertAboutAge(Vardo& engine);
