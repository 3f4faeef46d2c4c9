// The rules of the two kinds of scans: of a file as its lists describe it, and of one whose lists may be
// wrong.
#ifndef KR_TOOLS_AVI_KRSCANRULES_H
#define KR_TOOLS_AVI_KRSCANRULES_H

#include "tools/avi/KrFileScanner.h"

namespace KrTool
{
inline constexpr GuessSet kLayoutChunks =
    GuessesOf(EKrGuess::AviList, EKrGuess::OtherList, EKrGuess::Data, EKrGuess::OtherData, EKrGuess::Index,
              EKrGuess::Header, EKrGuess::CutHeader, EKrGuess::Printable);

// Trusts lists. Header chunks are searched for only in the few bytes of headers, one by one.
inline constexpr SKrScanRules kLayoutRules = {
    .trust = EKrTrust::ListSizes,
    .chunks = kLayoutChunks,
    .search = {.chunks = GuessesOf(EKrGuess::Data, EKrGuess::OtherData, EKrGuess::Index, EKrGuess::Header),
               .lists = GuessesOf(EKrGuess::AviList, EKrGuess::OtherList),
               .followers = kLayoutChunks | GuessesOf(EKrGuess::End),
               .padding = EKrPadding::ByPosition,
               .listProof = EKrListProof::Size,
               .zeroByteFollows = true,
               .acceptsAfterZeros = true,
               .closely = 4096}};

// Also looks into lists that AVI files do not have.
constexpr SKrScanRules RulesForAnyList(size_t levels = kDeepestLevel)
{
    SKrScanRules rules = kLayoutRules;
    rules.chunks |= kAnyList;
    rules.entersAnyList = true;
    rules.levels = levels;
    return rules;
}
// Trusts only what the bytes after it confirm.
inline constexpr SKrScanRules kFollowerRules = {
    .trust = EKrTrust::Followers,
    .chunks = kAnyList | kDataOrIndex | GuessesOf(EKrGuess::OtherData, EKrGuess::Header, EKrGuess::Printable),
    .search = {.chunks = kDataOrIndex | GuessesOf(EKrGuess::OtherData),
               .lists = kAnyList,
               .followers = kAnyList | kDataOrIndex |
                            GuessesOf(EKrGuess::OtherData, EKrGuess::Zeros, EKrGuess::Rest, EKrGuess::End),
               .padding = EKrPadding::Either,
               .listProof = EKrListProof::FirstChunk,
               .doubtsEmptyChunks = true,
               .doubtsIndexEntries = true}};
} // namespace KrTool

#endif
