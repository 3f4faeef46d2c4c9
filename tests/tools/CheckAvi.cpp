#include "tests/tools/CheckAvi.h"

#include "tests/support/KrAviChecker.h"
#include "tests/support/KrCopyChecker.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

using namespace KrTest;

namespace
{
// Positions in the header that the writer lays out.
constexpr size_t kVideoList = 88;
constexpr size_t kVideoHeader = kVideoList + 12 + 8;   // data of 'strh'
constexpr size_t kVideoFormat = kVideoHeader + 56 + 8; // data of 'strf'
constexpr size_t kHeaderEnd = 100'000;

class CKrHeaderValues
{
public:
    explicit CKrHeaderValues(KrBytes bytes) : m_bytes(std::move(bytes)) { m_bytes.resize(kHeaderEnd); }

    [[nodiscard]] uint32_t At(size_t position, size_t count = 4) const
    {
        uint32_t value = 0;
        for (size_t byte = count; byte-- > 0;)
            value = value << 8 | m_bytes.at(position + byte);
        return value;
    }

    [[nodiscard]] uint32_t BigEndianAt(size_t position) const
    {
        const uint32_t value = At(position);
        return value >> 24 | (value >> 8 & 0xFF00) | (value << 8 & 0xFF0000) | value << 24;
    }

    [[nodiscard]] std::string TextAt(size_t position) const
    {
        return {m_bytes.begin() + static_cast<ptrdiff_t>(position),
                m_bytes.begin() + static_cast<ptrdiff_t>(position + 4)};
    }

    [[nodiscard]] size_t Find(const std::string& text) const
    {
        return static_cast<size_t>(std::distance(
            m_bytes.begin(), std::search(m_bytes.begin(), m_bytes.end(), text.begin(), text.end())));
    }

private:
    KrBytes m_bytes;
};

SKrWritten WrittenFrom(const CKrHeaderValues& header)
{
    SKrWritten from;
    from.width = header.At(kVideoFormat + 4);
    from.height = header.At(kVideoFormat + 8);
    from.bitCount = static_cast<uint8_t>(header.At(kVideoFormat + 14, 2));
    from.codec = header.At(kVideoFormat + 16) == 0 ? std::string() : header.TextAt(kVideoFormat + 16);
    constexpr uint32_t kRates[] = {24000, 24, 25, 30000, 30, 50, 60000, 60};
    from.frameRate = static_cast<uint32_t>(
        std::find(std::begin(kRates), std::end(kRates), header.At(kVideoHeader + 24)) - std::begin(kRates));
    const size_t own = std::min<size_t>(header.Find("korin-avi"), kHeaderEnd - 32);
    from.scanMode = static_cast<uint8_t>(header.At(own + 21, 1));
    from.aspectHorizontal = header.BigEndianAt(own + 22);
    from.aspectVertical = header.BigEndianAt(own + 26);
    const size_t audioHeader = kVideoList + 8 + header.At(kVideoList + 4) + 12 + 8;
    if (header.At(56) == 2 && audioHeader < kHeaderEnd - 200)
    {
        const size_t format = audioHeader + 56 + 8;
        from.pcm = SKrPcmFormat{static_cast<uint16_t>(header.At(format + 2, 2)), header.At(format + 4),
                                static_cast<uint16_t>(header.At(format + 14, 2))};
    }
    return from;
}

bool IsWholeCopy(const std::string& path)
{
    const std::vector<std::string> problems = CheckCopiedFile(path);
    for (const std::string& problem : problems)
        std::printf("%s: %s\n", path.c_str(), problem.c_str());
    return problems.empty();
}

bool IsWhole(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    KrBytes head(kHeaderEnd);
    file.read(reinterpret_cast<char*>(head.data()), static_cast<std::streamsize>(head.size()));
    const SKrWritten from = WrittenFrom(CKrHeaderValues(std::move(head)));
    if (from.frameRate > 7)
    {
        std::printf("%s: no such frame rate\n", path.c_str());
        return false;
    }
    const SKrCheckedAvi checked = CheckWrittenFile(std::filesystem::absolute(path).wstring(), from);
    for (const std::string& problem : checked.problems)
        std::printf("%s: %s\n", path.c_str(), problem.c_str());
    return checked.problems.empty();
}
} // namespace

int CheckAviFiles(const std::vector<std::string>& arguments)
{
    const bool areCopies = !arguments.empty() && arguments[0] == "--copy";
    const size_t first = areCopies ? 1 : 0;
    bool ok = arguments.size() > first;
    for (size_t number = first; number < arguments.size(); ++number)
        ok = (areCopies ? IsWholeCopy(arguments[number]) : IsWhole(arguments[number])) && ok;
    return ok ? 0 : 1;
}
