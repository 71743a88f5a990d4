#pragma once

/// Tells the person at the desktop, by a notification, that a scan that ends left so many objects unscanned:
/// the statistics have no row for them. Nothing happens for 0, or where nobody shows notifications. Returns
/// at once.
void tellUnscanned(unsigned int count);
