// The text of an SVG picture, element by element.
#ifndef KR_TOOLS_MAP_KRSVG_H
#define KR_TOOLS_MAP_KRSVG_H

#include <string>
#include <string_view>

namespace KrTool
{
// Text from elsewhere, fit to stand in XML and HTML, between tags and in attributes.
std::string Escaped(std::string_view text);

// A coordinate, to a hundredth of a pixel.
std::string Pixels(double value);

enum class EKrAnchor
{
    Start,
    Middle,
    End
};

class CKrSvg
{
public:
    const std::string& Text() const { return m_text; }

    // Raw text, for what stands once in a picture.
    void Add(std::string_view text) { m_text += text; }

    // Groups with an id can be found by programs that look at the picture.
    void OpenGroup(std::string_view id, std::string_view attributes = {});
    void CloseGroup() { m_text += "</g>\n"; }

    // `style` names classes; `title` shows where a pointer rests, and is escaped here.
    void Rect(double x, double y, double width, double height, std::string_view style,
              std::string_view title = {});
    void Line(double fromX, double fromY, double toX, double toY, std::string_view style);
    void Path(std::string_view commands, std::string_view style);

    // Escapes the text.
    void Label(double x, double y, std::string_view text, std::string_view style,
               EKrAnchor anchor = EKrAnchor::Start);
    void VerticalLabel(double x, double y, std::string_view text, std::string_view style);

private:
    std::string m_text;
};

// The commands of a path.
class CKrSvgPath
{
public:
    bool IsEmpty() const { return m_commands.empty(); }
    const std::string& Commands() const { return m_commands; }

    void MoveTo(double x, double y) { m_commands += 'M' + Pixels(x) + ' ' + Pixels(y); }
    void LineTo(double x, double y) { m_commands += 'L' + Pixels(x) + ' ' + Pixels(y); }
    void HorizontalTo(double x) { m_commands += 'H' + Pixels(x); }
    void VerticalTo(double y) { m_commands += 'V' + Pixels(y); }
    void Close() { m_commands += 'z'; }
    void AddRect(double x, double y, double width, double height);

private:
    std::string m_commands;
};
} // namespace KrTool

#endif
