#include "base/begin.h"
#include "shell/startup.h"

int main(int argc, char** argv)
{
    base::beginProgram();
    return Startup(argc, argv).run();
}
