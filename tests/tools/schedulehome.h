#pragma once

#include "jobs/job.h"

#include <QByteArray>
#include <QProcess>
#include <QStringList>

#include <functional>
#include <string>

/// An installation in the sandbox with scheduled scans, a person who is a member of the group that may change
/// the settings, and that person's files. For tests that run as the sandbox's root.
namespace schedulehome {

inline constexpr char files[] = "/home/tester/files"; ///< what the jobs scan
inline constexpr unsigned person = 1000;

/// A fresh installation, with owners and modes as the package has them where members can write.
void make();

struct Outcome
{
    int code; ///< -1 for a process that did not exit by itself
    QByteArray out;
    QByteArray err;
};
Outcome wait(QProcess& process);

/// Makes a child process the member's.
std::function<void()> asMember();
/// What the member does in a shell, which must succeed.
void member(const std::string& script);
Outcome vardoscan(const QStringList& arguments, bool asMember = false);

/// A daily job at three that quarantines what it finds in `files`.
jobs::Job jobNamed(const std::string& name);
bool save(const jobs::Job& job);

/// Makes a file there that the signatures find, with some text behind that.
void infect(const std::string& name, const std::string& text = {});
bool isThere(const std::string& name);

} // namespace schedulehome
