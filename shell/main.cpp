#include "shell/startup.h"

int main(int argc, char** argv)
{
    return Startup(argc, argv).run();
}
