#pragma once

#include <QThread>

#include <string>
#include <vector>

/// Puts files of the quarantine back where they were, by the command line's program: root takes on the rights
/// of others for that, which a process can do only as a whole. Its end waits for the program's, which goes on
/// without the window.
class RestoreRun : public QThread
{
  public:
    explicit RestoreRun(std::vector<std::string> names);
    ~RestoreRun() override { wait(); }

    /// Once it is finished: what the program said, line by line, and whether all went well.
    QString said() const;
    bool succeeded() const { return succeeded_; }

  protected:
    void run() override;

  private:
    std::vector<std::string> names_;
    std::string output_;
    bool succeeded_ = false;
};

namespace quarantinelist {

/// Whether the caller may put that file back: root any, others their own.
bool mayRestore(const std::string& name);

/// A line for each name: where the file was, as the note about it says.
QString origins(const std::vector<std::string>& names);

} // namespace quarantinelist
