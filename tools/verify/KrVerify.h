// All checks of kravi verify on one file.
#ifndef KR_TOOLS_VERIFY_KRVERIFY_H
#define KR_TOOLS_VERIFY_KRVERIFY_H

#include "tools/avi/KrFileWindow.h"
#include "tools/avi/KrInterleave.h"
#include "tools/verify/KrVerifyModel.h"
#include "tools/verify/KrVerifyResults.h"

namespace KrTool
{
class CKrByteSource;
class CKrProgress;

struct SKrVerification
{
    SKrVerifyModel model;
    CKrVerifyResults results;
    double interleaveLimit = kInterleaveLimit; // seconds, set before
};

// The input of the checks that follow the scan.
struct SKrVerifyContext
{
    CKrFileWindow& window;
    CKrFileWindow& strayWindow; // for single positions, so that sequential reads stay buffered
    SKrVerifyModel& model;
    CKrVerifyResults& results;
    CKrProgress& progress;
    double interleaveLimit;
};

void CheckMainHeaders(const SKrVerifyContext& context);
void CheckStreamHeaders(const SKrVerifyContext& context);
void CheckPictures(const SKrVerifyContext& context);
void CheckOldIndexes(const SKrVerifyContext& context);
void CheckOpenDmlIndexes(const SKrVerifyContext& context);
void CheckGaps(const SKrVerifyContext& context);       // after both kinds of index
void CheckInterleave(const SKrVerifyContext& context); // after both kinds of index
void CheckPrivateChunks(const SKrVerifyContext& context);

// Throws CKrToolError when the file cannot be read.
void Verify(const CKrByteSource& file, SKrVerification& verification, CKrProgress& progress);
} // namespace KrTool

#endif
