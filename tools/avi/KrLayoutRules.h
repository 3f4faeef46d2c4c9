// The rules of a scan that takes a file as its lists describe it.
#ifndef KR_TOOLS_AVI_KRLAYOUTRULES_H
#define KR_TOOLS_AVI_KRLAYOUTRULES_H

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
} // namespace KrTool

#endif
