// Checks every byte of files that the library's writer made. The parameters of a file are taken from its own headers;
// the rest must agree with them.
#ifndef KR_TESTS_TOOLS_CHECKAVI_H
#define KR_TESTS_TOOLS_CHECKAVI_H

#include <string>
#include <vector>

// Prints what is wrong. 0 when no byte is.
int CheckAviFiles(const std::vector<std::string>& paths);

#endif
