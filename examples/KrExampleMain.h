// A common start of the examples on all systems: Run receives the program's arguments as wide text, the form
// of paths in the library's interface.
#ifndef KR_EXAMPLES_KREXAMPLEMAIN_H
#define KR_EXAMPLES_KREXAMPLEMAIN_H

int Run(int count, const wchar_t* const* arguments);

#if defined(_WIN32)

extern "C" int wmain(int count, wchar_t** arguments)
{
    return Run(count, arguments);
}

#else

#include <locale.h>
#include <stdlib.h>
#include <string>
#include <vector>

int main(int count, char** arguments)
{
    setlocale(LC_ALL, ""); // the encoding of the arguments
    std::vector<std::wstring> texts;
    for (int number = 0; number < count; ++number)
    {
        std::wstring text(mbstowcs(nullptr, arguments[number], 0) + 1, L'\0');
        mbstowcs(text.data(), arguments[number], text.size());
        texts.push_back(text);
    }
    std::vector<const wchar_t*> pointers;
    for (const std::wstring& text : texts)
        pointers.push_back(text.c_str());
    return Run(count, pointers.data());
}

#endif

#endif
