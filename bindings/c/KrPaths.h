// Paths of the C interface.
#ifndef KR_BINDINGS_C_KRPATHS_H
#define KR_BINDINGS_C_KRPATHS_H

#include "KrRiffUtils/kr_riff.h"
#include "bindings/c/KrHandleFiles.h"
#include "bindings/c/KrOutcome.h"
#include "platform/KrOpenFailure.h"
#include "platform/KrUtf8.h"

#include <optional>
#include <string>

// A path as the library takes it; nothing for one that is null, empty or not UTF-8.
[[nodiscard]] inline std::optional<std::wstring> KrWidePath(const char* path)
{
    if (path == nullptr || *path == '\0')
        return std::nullopt;
    std::optional<std::wstring> wide = Widen(path);
    return wide && !KrIsSourcePath(*wide) ? wide : std::nullopt;
}

[[nodiscard]] inline SKrOutcome KrOutcomeOf(const SKrOpenFailure& failure)
{
    switch (failure.kind)
    {
    case EKrOpenFailure::NotFound:
        return {KR_ERROR_NOT_FOUND, failure.osError};
    case EKrOpenFailure::NotAllowed:
        return {KR_ERROR_ACCESS, failure.osError};
    case EKrOpenFailure::InUse:
        return {KR_ERROR_IN_USE, failure.osError};
    default:
        return {KR_ERROR_OPEN, failure.osError};
    }
}

#endif
