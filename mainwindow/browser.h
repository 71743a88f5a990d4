#pragma once

class QString;

/// Starts a program with a web page as its only argument and leaves it to itself. A name without a slash is
/// looked for in PATH. False when nothing was started; for root also when somebody else could have changed
/// the program: the list of browsers may be written by a group.
bool startBrowser(const QString& program, const QString& page);
