// The version of the library, for the preprocessor. C and C++. This is the one place of the version: the
// build, the package and kravi take it from here.
#ifndef KRRIFFUTILS_KRVERSION_H
#define KRRIFFUTILS_KRVERSION_H

// Until 1.0 a new minor number may change what hosts see, and then the name of the shared library changes
// too; a new patch number never does.
#define KR_RIFF_UTILS_VERSION_MAJOR 0
#define KR_RIFF_UTILS_VERSION_MINOR 1
#define KR_RIFF_UTILS_VERSION_PATCH 0

// One number to compare: 100 for 0.1.0, 10203 for 1.2.3.
#define KR_RIFF_UTILS_VERSION                                                                                \
    (KR_RIFF_UTILS_VERSION_MAJOR * 10000 + KR_RIFF_UTILS_VERSION_MINOR * 100 + KR_RIFF_UTILS_VERSION_PATCH)

#endif
