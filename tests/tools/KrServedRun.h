// One run of kravi, or of the checker of its files, within the server of the tests, and what differs between
// systems in it.
#ifndef KR_TESTS_TOOLS_KRSERVEDRUN_H
#define KR_TESTS_TOOLS_KRSERVEDRUN_H

#include <cstdint>
#include <string>
#include <vector>

struct SKrServedRun
{
    std::string folder; // what names are relative to
    std::string output; // the files that take both outputs
    std::string errors;
    std::vector<std::string> arguments;
    bool isCheck = false; // of the checker
};

// File descriptors of the server's own standard input and output, which runs leave alone.
struct SKrServerChannels
{
    int requests;
    int answers;
};
SKrServerChannels OpenServerChannels();

// The exit code, or minus the number of the signal that ended the run.
int32_t Serve(const SKrServedRun& run);

// The part that is the same everywhere: runs the program in this process, as it stands, and returns its exit
// code.
int RunHere(const SKrServedRun& run);

#endif
