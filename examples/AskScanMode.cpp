// Prints the scan mode and the pixel aspect ratio that a file declares: AskScanMode FILE
#include "KrExampleMain.h"

#include <KrRiffUtils/KrRiffUtils.h>

#include <stdio.h>

int Run(int count, const wchar_t* const* arguments)
{
    if (count != 2)
    {
        printf("usage: AskScanMode FILE\n");
        return 2;
    }
    const wchar_t* const path = arguments[1];

    // The first query opens the file and keeps the reader open for the others.
    EKrScanMode mode = EKrScanMode::Unknown;
    if (KrRiffUtils::GetAviScanMode(path, mode) != 0)
    {
        const char* const names[] = {"upper field first", "lower field first", "progressive"};
        printf("scan mode: %s\n", names[static_cast<int>(mode)]);
    }
    else
        printf("scan mode: not declared\n");

    int horizontal = 0;
    int vertical = 0;
    if (KrRiffUtils::GetAviPixelAspectRatio(path, horizontal, vertical) != 0)
        printf("pixel aspect ratio: %d:%d\n", horizontal, vertical);
    else
        printf("pixel aspect ratio: not declared\n");

    KrRiffUtils::ClearCache(path); // closes the file, so that others can write to it
    return 0;
}
