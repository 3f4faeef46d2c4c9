#include "tools/mend/KrFieldPlan.h"

#include "format/KrBytes.h"
#include "format/KrFieldPlaces.h"
#include "format/KrFourCC.h"
#include "format/KrPrivateChunks.h"
#include "tools/avi/KrInputFile.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/copier/KrStreamChoice.h"
#include "tools/mend/KrTextPlan.h"
#include "tools/output/KrRecordingOptions.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <numeric>

namespace KrTool
{
namespace
{
// Places of fields in 'strh', 'strf' and 'vprp'
constexpr size_t kHandlerAt = 4;
constexpr size_t kCompressionAt = 16;
constexpr size_t kRefreshRateAt = 8;
constexpr size_t kShapeAspectAt = 20;
constexpr size_t kShapeFieldsAt = 32;
constexpr size_t kFirstLineAt = 64; // first line of the first field, and of the second
constexpr size_t kSecondLineAt = 96;

constexpr uint32_t kMicrosecondsOfSecond = 1'000'000;
constexpr char kWayToWrite[] = "kravi extract and kravi write make a file that has one";

uint32_t ParseFourCc(const std::string& option, const std::string& text)
{
    const uint32_t fourCc = text.size() == 4 ? KrFourCC(text[0], text[1], text[2], text[3]) : 0;
    if (!IsPrintableFourCc(fourCc))
        throw CKrToolError({}, option + " must be four characters, such as MJPG or 'DIB '");
    return fourCc;
}

struct SKrRatio
{
    uint32_t x = 0;
    uint32_t y = 0;
};

SKrRatio ParseAspect(const std::string& text)
{
    SKrRatio ratio;
    const char* const end = text.data() + text.size();
    const auto [colon, error] = std::from_chars(text.data(), end, ratio.x);
    const bool hasColon = error == std::errc() && colon != end && *colon == ':';
    if (!hasColon || std::from_chars(colon + 1, end, ratio.y).ptr != end || ratio.x == 0 || ratio.y == 0 ||
        ratio.x > UINT16_MAX || ratio.y > UINT16_MAX)
        throw CKrToolError({}, Format("--aspect: '{}' is not a display aspect such as 4:3 or 16:9", text));
    return ratio;
}

std::string RatioText(uint64_t x, uint64_t y, char between)
{
    return Format("{}{}{}", x, between, y);
}

class CKrFieldPlanning
{
public:
    CKrFieldPlanning(const CKrByteSource& file, const SKrFieldValues& values)
        : m_file(file), m_values(values), m_places(FindHeaderPlaces(file)), m_number(ChooseStream())
    {
    }

    SKrFieldPlan Run()
    {
        if (!m_values.rate.empty())
            PlanRate(ParseRate(m_values.rate));
        if (!m_values.codec.empty())
            PlanCodec(ParseFourCc("--codec", m_values.codec));
        if (!m_values.handler.empty())
            PlanFourCc("handler", Header(), kHandlerAt, ParseFourCc("--handler", m_values.handler));
        if (!m_values.start.empty())
            PlanStart();
        if (!m_values.aspect.empty())
            PlanAspect(ParseAspect(m_values.aspect));
        if (m_values.scan)
            PlanScan(*m_values.scan);
        PlanTexts(m_file, m_places, m_values, m_plan);
        return std::move(m_plan);
    }

private:
    [[noreturn]] void Refuse(const std::string& cause) const { throw CKrToolError(m_file.Path(), cause); }

    [[nodiscard]] std::optional<uint64_t> FirstVideo() const
    {
        for (uint64_t number = 0; number < m_places.streams.size(); ++number)
        {
            if (m_places.streams[static_cast<size_t>(number)].fields.type == kFccVids)
                return number;
        }
        return std::nullopt;
    }

    [[nodiscard]] std::optional<uint64_t> ChooseStream() const
    {
        if (m_values.stream && *m_values.stream >= m_places.streams.size())
            Refuse(Format("there is no stream {}: the file has {}", *m_values.stream,
                          Counted(m_places.streams.size(), "stream")));
        return m_values.stream ? m_values.stream : FirstVideo();
    }

    const SKrHeaderStream& Stream() const
    {
        if (!m_number)
            Refuse("it has no video stream; --stream names another one");
        return m_places.streams[static_cast<size_t>(*m_number)];
    }

    const SKrHeaderStream& VideoStream(const char* option) const
    {
        if (Stream().fields.type != kFccVids)
            Refuse(Format("stream {} is not video, which {} is about", *m_number, option));
        return Stream();
    }

    const SKrHeaderChunk& Header() const
    {
        if (!Stream().header || !Stream().header->Has(KrStrh::kStartTimeAt, sizeof(uint32_t)))
            Refuse(Format("stream {} has no whole header; kravi recover may make a file of it", *m_number));
        return *Stream().header;
    }

    void Note(std::string text) { m_plan.notes.push_back(std::move(text)); }

    void Add(const char* field, const SKrHeaderChunk& chunk, size_t place, std::string before,
             std::string after)
    {
        m_plan.changes.push_back(
            {field, m_number, chunk.Data() + place, std::move(before), std::move(after)});
    }

    void PlanRate(const SKrFraction& wanted)
    {
        const SKrHeaderStream& stream = VideoStream("--rate");
        const SKrHeaderChunk& header = Header();
        m_plan.patches.PutU32Le(header.Data() + KrStrh::kScaleAt, wanted.scale);
        m_plan.patches.PutU32Le(header.Data() + KrStrh::kRateAt, wanted.rate);
        Add("frame rate", header, KrStrh::kScaleAt, RatioText(stream.fields.rate, stream.fields.scale, '/'),
            RatioText(wanted.rate, wanted.scale, '/'));
        m_rate = wanted;
        if (m_number == FirstVideo())
            PlanFrameTime(Low(uint64_t{kMicrosecondsOfSecond} * wanted.scale / wanted.rate));
        PlanRefreshRate(stream, wanted);
    }

    static uint32_t Low(uint64_t value)
    {
        return static_cast<uint32_t>(std::min<uint64_t>(value, UINT32_MAX));
    }

    void PlanFrameTime(uint32_t microseconds)
    {
        if (!m_places.mainHeader || !m_places.mainHeader->Has(0, sizeof(uint32_t)))
            return Note("it has no main header 'avih' with a frame duration");
        const SKrHeaderChunk& main = *m_places.mainHeader;
        m_plan.patches.PutU32Le(main.Data(), microseconds);
        Add("frame duration", main, 0, Format("{} us", GetLe32(main.bytes.data())),
            Format("{} us", microseconds));
    }

    // 'vprp' has the rate as a whole number; other values than the rate of the frames stay.
    void PlanRefreshRate(const SKrHeaderStream& stream, const SKrFraction& wanted)
    {
        const SKrStreamHeader& old = stream.fields;
        if (!stream.shape || !stream.shape->Has(kRefreshRateAt, sizeof(uint32_t)) || old.scale == 0)
            return;
        const auto rounded = [](double rate, double scale)
        {
            return static_cast<uint32_t>(std::lround(std::min(rate / scale, 1e9)));
        };
        const uint32_t before = GetLe32(&stream.shape->bytes[kRefreshRateAt]);
        if (before != rounded(old.rate, old.scale))
            return;
        const uint32_t after = rounded(wanted.rate, wanted.scale);
        m_plan.patches.PutU32Le(stream.shape->Data() + kRefreshRateAt, after);
        Add("refresh rate", *stream.shape, kRefreshRateAt, std::to_string(before), std::to_string(after));
    }

    void PlanFourCc(const char* field, const SKrHeaderChunk& chunk, size_t place, uint32_t fourCc)
    {
        m_plan.patches.PutU32Le(chunk.Data() + place, fourCc);
        Add(field, chunk, place, FourCcText(GetLe32(&chunk.bytes[place])), FourCcText(fourCc));
    }

    void PlanCodec(uint32_t fourCc)
    {
        const std::optional<SKrHeaderChunk>& format = VideoStream("--codec").format;
        if (!format || !format->Has(kCompressionAt, sizeof(uint32_t)))
            Refuse(Format("stream {} has no whole format 'strf'", *m_number));
        PlanFourCc("codec", *format, kCompressionAt, fourCc == kFccDib ? 0 : fourCc);
    }

    // "12" units of the stream, or "0.5s".
    [[nodiscard]] uint32_t Units(const std::string& text) const
    {
        const char* const end = text.data() + text.size();
        uint32_t units = 0;
        const auto [after, error] = std::from_chars(text.data(), end, units);
        if (error == std::errc() && after == end)
            return units;
        char* rest = nullptr;
        const double seconds = std::strtod(text.c_str(), &rest);
        const uint32_t rate = m_rate ? m_rate->rate : Stream().fields.rate;
        const uint32_t scale = m_rate ? m_rate->scale : Stream().fields.scale;
        const double wanted = scale == 0 ? -1 : std::round(seconds * rate / scale);
        if (std::string_view(rest) != "s" || !(wanted >= 0) || wanted > UINT32_MAX)
            throw CKrToolError(
                {},
                Format("--start: '{}' is not a number of units such as 12, or seconds such as 0.5s", text));
        return static_cast<uint32_t>(wanted);
    }

    void PlanStart()
    {
        const SKrHeaderChunk& header = Header();
        const uint32_t units = Units(m_values.start);
        m_plan.patches.PutU32Le(header.Data() + KrStrh::kStartTimeAt, units);
        Add("start", header, KrStrh::kStartTimeAt, std::to_string(Stream().fields.start),
            std::to_string(units));
    }

    void PlanAspect(const SKrRatio& wanted)
    {
        const SKrHeaderStream& stream = VideoStream("--aspect");
        const size_t before = m_plan.changes.size();
        PlanPixelAspect(stream, wanted);
        if (stream.shape && stream.shape->Has(kShapeAspectAt, sizeof(uint32_t)))
        {
            const uint32_t old = GetLe32(&stream.shape->bytes[kShapeAspectAt]);
            m_plan.patches.PutU32Le(stream.shape->Data() + kShapeAspectAt, wanted.x << 16 | wanted.y);
            Add("display aspect", *stream.shape, kShapeAspectAt, RatioText(old >> 16, old & UINT16_MAX, ':'),
                RatioText(wanted.x, wanted.y, ':'));
        }
        if (m_plan.changes.size() == before)
            Refuse(Format("no chunk of it has a display aspect ('KrlA', 'PrmA', 'vprp'); {}", kWayToWrite));
    }

    // The private chunks have the aspect of the pixels of the first video stream.
    void PlanPixelAspect(const SKrHeaderStream& stream, const SKrRatio& wanted)
    {
        if (m_number != FirstVideo() || !stream.format || !stream.format->Has(0, kCompressionAt))
            return;
        const SKrBitmapHeader format = DecodeBitmapHeader(stream.format->bytes);
        const uint64_t x = wanted.x * static_cast<uint64_t>(std::abs(int64_t{format.height}));
        const uint64_t y = wanted.y * static_cast<uint64_t>(std::max(format.width, 0));
        const uint64_t divisor = std::gcd(x, y);
        if (x == 0 || y == 0 || x / divisor > UINT32_MAX || y / divisor > UINT32_MAX)
            return;
        std::vector<uint8_t> bytes;
        CKrByteWriter out(bytes);
        out.U32Be(static_cast<uint32_t>(x / divisor));
        out.U32Be(static_cast<uint32_t>(y / divisor));
        for (const SKrHeaderChunk& chunk : m_places.privateChunks)
        {
            const SKrPrivateChunkKind& kind = *FindPrivateChunkKind(chunk.id);
            const std::optional<SKrPixelAspect> old = DecodePixelAspect(kind, chunk.bytes);
            if (!old || !chunk.Has(*kind.aspectAt, bytes.size()))
                continue;
            m_plan.patches.Put(chunk.Data() + *kind.aspectAt, bytes);
            Add("pixel aspect", chunk, *kind.aspectAt, RatioText(old->horizontal, old->vertical, ':'),
                RatioText(x / divisor, y / divisor, ':'));
        }
    }

    void PlanScan(EKrScanMode mode)
    {
        const SKrHeaderStream& stream = VideoStream("--scan");
        const size_t before = m_plan.changes.size();
        if (m_number == FirstVideo())
            PlanPrivateScan(mode);
        if (stream.shape && stream.shape->Has(kShapeFieldsAt, sizeof(uint32_t)))
            PlanShapeScan(*stream.shape, mode);
        if (m_plan.changes.size() == before)
            Refuse(Format("no chunk of it has a scan mode that can be changed ('KrlA', 'CtsI', 'vprp'); {}",
                          kWayToWrite));
    }

    void PlanPrivateScan(EKrScanMode mode)
    {
        const uint8_t byte = mode == EKrScanMode::Unknown ? kNoScanModeByte : static_cast<uint8_t>(mode);
        for (const SKrHeaderChunk& chunk : m_places.privateChunks)
        {
            const SKrPrivateChunkKind& kind = *FindPrivateChunkKind(chunk.id);
            const std::optional<uint8_t> old = DecodeScanMode(kind, chunk.bytes);
            if (!old || !chunk.Has(*kind.scanModeAt, sizeof byte))
                continue;
            m_plan.patches.Put(chunk.Data() + *kind.scanModeAt, {byte});
            Add("scan mode", chunk, *kind.scanModeAt, NameOf(ScanModeOfByte(*old)), NameOf(mode));
        }
    }

    static std::string NameOf(EKrScanMode mode) { return ScanModeName(static_cast<int32_t>(mode)); }

    // 'vprp' has a description for each field; the field whose lines start higher is the upper one.
    void PlanShapeScan(const SKrHeaderChunk& shape, EKrScanMode mode)
    {
        const bool isInterlaced =
            mode == EKrScanMode::UpperFieldFirst || mode == EKrScanMode::LowerFieldFirst;
        const uint32_t fields = GetLe32(&shape.bytes[kShapeFieldsAt]);
        if (mode == EKrScanMode::Progressive && fields == 1)
            return Add("scan mode", shape, kShapeFieldsAt, NameOf(mode), NameOf(mode));
        if (!isInterlaced || fields != 2 || !shape.Has(kSecondLineAt, sizeof(uint32_t)))
            return Note(Format("'vprp' describes {}, which cannot be changed in place",
                               Counted(fields, "field") + " of a frame"));
        const uint32_t first = GetLe32(&shape.bytes[kFirstLineAt]);
        const uint32_t second = GetLe32(&shape.bytes[kSecondLineAt]);
        if (first == second)
            return Note("'vprp' does not tell which field comes first");
        const bool isUpperFirst = mode == EKrScanMode::UpperFieldFirst;
        Add("scan mode", shape, kFirstLineAt,
            NameOf(first < second ? EKrScanMode::UpperFieldFirst : EKrScanMode::LowerFieldFirst),
            NameOf(mode));
        if ((first < second) == isUpperFirst)
            return;
        m_plan.patches.PutU32Le(shape.Data() + kFirstLineAt, second);
        m_plan.patches.PutU32Le(shape.Data() + kSecondLineAt, first);
    }

    const CKrByteSource& m_file;
    const SKrFieldValues& m_values;
    const SKrHeaderPlaces m_places;
    const std::optional<uint64_t> m_number;
    std::optional<SKrFraction> m_rate; // the new one
    SKrFieldPlan m_plan;
};
} // namespace

SKrFieldPlan PlanFields(const CKrByteSource& file, const SKrFieldValues& values)
{
    return CKrFieldPlanning(file, values).Run();
}
} // namespace KrTool
