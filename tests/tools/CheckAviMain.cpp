// KrCheckAvi FILE...: checks files that the library's writer made.
#include "tests/tools/CheckAvi.h"

int main(int count, char** arguments)
{
    return CheckAviFiles({arguments + 1, arguments + count});
}
