// Checks every byte of files that the library's writer made. The parameters of a file are taken from its own
// headers; the rest must agree with them.
#ifndef KR_TESTS_TOOLS_CHECKAVI_H
#define KR_TESTS_TOOLS_CHECKAVI_H

#include <string>
#include <vector>

// Prints what is wrong in the files of these paths. With "--copy" before them they are copies of kravi, whose
// layout is another. 0 when no byte is wrong.
int CheckAviFiles(const std::vector<std::string>& arguments);

#endif
