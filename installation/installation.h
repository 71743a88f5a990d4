#pragma once

/// The kind of installation, as the version file tells it: which of the product's module sets the
/// machine carries.
enum : int {
    INSTALLATION_UNUSABLE = -1,
    INSTALLATION_TIER_A = 0,
    INSTALLATION_SHARED_CONF = 4, ///< MODULE-4: every user runs on the shared configuration files
};

/// Reads the installation kind from the version file: INSTALLATION_UNUSABLE, or 0 for TIER-A, or the
/// number of the last module named after TIER-B, 1 to 4.
int get_Vardo_version();
