#include "tools/input/KrReadability.h"

namespace KrTool
{
std::string WhyNotReadable(const SKrFileProbe& probe)
{
    switch (probe.state)
    {
    case EKrReadability::Missing:
        return "there is no such file";
    case EKrReadability::Folder:
        return "it is a folder, not a file";
    case EKrReadability::NotRegular:
        return "it is not a regular file";
    case EKrReadability::NotAllowed:
        return "reading it is not allowed";
    case EKrReadability::InUse:
        return "it is in use: another program holds it open for writing";
    case EKrReadability::Failing:
        return "it cannot be opened: " + probe.detail;
    case EKrReadability::Readable:
        break;
    }
    return "it cannot be opened for reading";
}
} // namespace KrTool
