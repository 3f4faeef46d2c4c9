#include "tools/map/KrSvg.h"

#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/map/KrMapText.h"

namespace KrTool
{
namespace
{
std::string Attribute(std::string_view name, double value)
{
    return Format(" {}=\"{}\"", name, Pixels(value));
}

std::string ClassAttribute(std::string_view style)
{
    return Format(" class=\"{}\"", style);
}

const char* AnchorAttribute(EKrAnchor anchor)
{
    static constexpr const char* kAttributes[] = {"", " text-anchor=\"middle\"", " text-anchor=\"end\""};
    return kAttributes[static_cast<size_t>(anchor)];
}

constexpr SKrEscape kEscapes[] = {
    {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}, {'\'', "&#39;"}};

// Marks that change the text direction, and the two code points that XML does not allow.
bool IsUnwanted(std::string_view character)
{
    if (character.size() != 3)
        return false;
    const auto second = static_cast<unsigned char>(character[1]);
    const auto third = static_cast<unsigned char>(character[2]);
    if (character[0] == '\xE2')
        return (second == 0x80 && third >= 0xAA && third <= 0xAE) ||
               (second == 0x81 && third >= 0xA6 && third <= 0xA9);
    return character[0] == '\xEF' && second == 0xBF && third >= 0xBE;
}
} // namespace

std::string Escaped(std::string_view text)
{
    std::string printable = Printable(text);
    for (size_t place = 0; place < printable.size(); ++place)
    {
        if (IsUnwanted(std::string_view(printable).substr(place, 3)))
            printable.replace(place, 3, "\uFFFD");
    }
    return WithEscapes(printable, kEscapes);
}

std::string Pixels(double value)
{
    return Trimmed(value, 2);
}

void CKrSvg::OpenGroup(std::string_view id, std::string_view attributes)
{
    m_text += Format("<g id=\"{}\"{}>\n", id, attributes);
}

void CKrSvg::Rect(double x, double y, double width, double height, std::string_view style,
                  std::string_view title)
{
    m_text += Format("<rect{}{}{}{}{}", Attribute("x", x), Attribute("y", y), Attribute("width", width),
                     Attribute("height", height), ClassAttribute(style));
    m_text += title.empty() ? "/>\n" : Format("><title>{}</title></rect>\n", Escaped(title));
}

void CKrSvg::Line(double fromX, double fromY, double toX, double toY, std::string_view style)
{
    m_text += Format("<line{}{}{}{}{}/>\n", Attribute("x1", fromX), Attribute("y1", fromY),
                     Attribute("x2", toX), Attribute("y2", toY), ClassAttribute(style));
}

void CKrSvg::Path(std::string_view commands, std::string_view style)
{
    m_text += Format("<path{} d=\"{}\"/>\n", ClassAttribute(style), commands);
}

void CKrSvg::Label(double x, double y, std::string_view text, std::string_view style, EKrAnchor anchor)
{
    m_text += Format("<text{}{}{}{}>{}</text>\n", Attribute("x", x), Attribute("y", y),
                     AnchorAttribute(anchor), ClassAttribute(style), Escaped(text));
}

void CKrSvg::VerticalLabel(double x, double y, std::string_view text, std::string_view style)
{
    m_text += Format("<text transform=\"translate({} {}) rotate(-90)\" text-anchor=\"middle\"{}>{}</text>\n",
                     Pixels(x), Pixels(y), ClassAttribute(style), Escaped(text));
}

void CKrSvgPath::AddRect(double x, double y, double width, double height)
{
    MoveTo(x, y);
    HorizontalTo(x + width);
    VerticalTo(y + height);
    HorizontalTo(x);
    Close();
}
} // namespace KrTool
