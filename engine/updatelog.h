#pragma once

#include <fstream>

/// The update log behind QS_AVUpdate. Not part of what callers use.
class QS_AVUpdateLog
{
  public:
    QS_AVUpdateLog(const char* name);
    int Start(const char* text);
    void Stop();
    int Log(const char* text);

  private:
    char* fileName;
    std::ofstream oFile;
};
