#include "tools/command/KrCommandLine.h"
#include "tools/platform/KrToolPlatform.h"

int main(int argc, char** argv)
{
    const KrTool::CKrConsole console;
    KrTool::CatchInterruptions();
    return KrTool::RunCommandLine(KrTool::Utf8Arguments(argc, argv));
}
