// A program's arguments, its console and the requests to end it. Linked into kravi only.
#ifndef KR_PLATFORM_KRCONSOLE_H
#define KR_PLATFORM_KRCONSOLE_H

#include <string>
#include <vector>

// The program's arguments in UTF-8, without its own name.
std::vector<std::string> Utf8Arguments(int argc, char** argv);

// Makes the console take UTF-8 and the standard streams take bytes as they are. A standard stream that is
// closed fails from now on, instead of becoming the next file that is opened. Returns what RestoreConsole
// needs to give the console back as it was.
unsigned PrepareConsole();
void RestoreConsole(unsigned before);

class CKrConsole
{
public:
    CKrConsole() : m_before(PrepareConsole()) {}
    ~CKrConsole() { RestoreConsole(m_before); }
    CKrConsole(const CKrConsole&) = delete;
    CKrConsole& operator=(const CKrConsole&) = delete;

private:
    unsigned m_before;
};

bool IsStandardErrorTerminal();

// Whether the standard output is a terminal that understands the escape sequences of colours.
bool StandardOutputTakesColours();

// From now on Ctrl-C, and what else asks the program to end, is noted instead of ending it.
void CatchInterruptions();
bool InterruptionRequested();

#endif
