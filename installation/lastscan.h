#pragma once

/// Notes when the last scan of the computer ended, which is now, by the local clock, for the window to show.
/// False when the file cannot be written.
bool writeLastScan();
