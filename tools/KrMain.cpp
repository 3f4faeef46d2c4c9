#include "platform/KrConsole.h"
#include "tools/command/KrCommandLine.h"

int main(int argc, char** argv)
{
    const CKrConsole console;
    CatchInterruptions();
    return KrTool::RunCommandLine(Utf8Arguments(argc, argv));
}
