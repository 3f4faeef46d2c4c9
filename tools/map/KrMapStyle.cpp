#include "tools/map/KrMapStyle.h"

#include "tools/map/KrMapPanels.h"

#include <array>

namespace KrTool
{
namespace
{
// The colours differ in lightness as well as in hue, so that they stay distinct for colour-blind viewers.
struct SKrColour
{
    const char* name;
    const char* light;
    const char* dark;
};
constexpr std::array<SKrColour, 19> kColours = {{{"paper", "#ffffff", "#14181d"},
                                                 {"ink", "#1b1f24", "#e6eaef"},
                                                 {"soft", "#57606a", "#9aa5b1"},
                                                 {"grid", "#dde2e8", "#2c333b"},
                                                 {"frame", "#8c959f", "#6b7682"},
                                                 {"list", "#eef1f5", "#222931"},
                                                 {"headers", "#9b3d8c", "#d78fc9"},
                                                 {"index", "#00855f", "#3cc596"},
                                                 {"video", "#0067a8", "#58aef2"},
                                                 {"audio", "#b87700", "#f3bd45"},
                                                 {"other", "#3f8fc0", "#a6dcf7"},
                                                 {"padding", "#848c95", "#727c87"},
                                                 {"damage", "#c8400a", "#ff7f50"},
                                                 {"extra1", "#7a3fb8", "#b892f0"},
                                                 {"extra2", "#00796b", "#4fc3b4"},
                                                 {"extra3", "#ad1a5b", "#f286b3"},
                                                 {"extra4", "#5c6f00", "#b6cc4a"},
                                                 {"extra5", "#8d5a2b", "#d9a877"},
                                                 {"extra6", "#3949ab", "#8fa0f5"}}};

std::string CustomProperties(bool isDark)
{
    std::string text;
    for (const SKrColour& colour : kColours)
        text += "--" + std::string(colour.name) + ':' + (isDark ? colour.dark : colour.light) + ';';
    return text;
}

std::string Use(const char* property, const std::string& name)
{
    for (const SKrColour& colour : kColours)
    {
        if (name == colour.name)
            return std::string(property) + ':' + colour.light + ';' + property + ":var(--" + name + ");";
    }
    return {};
}

constexpr char kFont[] =
    "font-family:system-ui,-apple-system,\"Segoe UI\",Roboto,\"Noto Sans\",\"Liberation Sans\","
    "\"DejaVu Sans\",Arial,sans-serif;";

std::string Properties()
{
    return ":root{color-scheme:light dark;" + CustomProperties(false) +
           "}\n@media (prefers-color-scheme:dark){:root{" + CustomProperties(true) + "}}\n";
}

std::string TextStyles()
{
    return "text{" + std::string(kFont) + Use("fill", "ink") +
           "font-size:12px;font-variant-numeric:tabular-nums;white-space:pre}\n"
           ".name{font-size:20px;font-weight:600}\n"
           ".heading{font-size:14px;font-weight:600}\n"
           ".strong{font-weight:600}\n"
           ".small{font-size:11px}\n"
           ".soft{" +
           Use("fill", "soft") + "}\n.warning{font-weight:600;" + Use("fill", "damage") + "}\n";
}

// Of streams after the first of their kind: each has a colour and a pattern.
std::string ExtraLines()
{
    static constexpr std::array<const char*, 6> kDashes = {"2 2", "9 3", "6 2 1 2", "12 2", "4 2", "1 2"};
    std::string text;
    for (size_t place = 0; place < kDashes.size(); ++place)
    {
        const std::string name = "extra" + std::to_string(place + 1);
        text += '.' + name + "-line{fill:none;stroke-width:2;stroke-dasharray:" + kDashes[place] + ';' +
                Use("stroke", name) + "}\n";
    }
    return text;
}

std::string ShapeStyles()
{
    return ".paper{" + Use("fill", "paper") + "}\n.grid{stroke-width:1;" + Use("stroke", "grid") +
           "}\n.axis{fill:none;stroke-width:1;" + Use("stroke", "frame") + "}\n.list{stroke-width:1;" +
           Use("fill", "list") + Use("stroke", "frame") + "}\n.hatch{fill:url(#hatch);stroke-width:1;" +
           Use("stroke", "damage") + "}\n.leader{fill:none;stroke-width:1.5;" + Use("stroke", "damage") +
           "}\n.hatch-paper{fill-opacity:.25;" + Use("fill", "damage") + "}\n.hatch-line{stroke-width:2.5;" +
           Use("stroke", "damage") + "}\n.mark{" + Use("fill", "ink") +
           "}\n.on-top{paint-order:stroke;stroke-width:3;stroke-linejoin:round;" + Use("stroke", "paper") +
           "}\n.video-area{fill-opacity:.2;" + Use("fill", "video") +
           "}\n.video-line{fill:none;stroke-width:1.5;" + Use("stroke", "video") +
           "}\n.audio-line{fill:none;stroke-width:2;stroke-dasharray:6 3;" + Use("stroke", "audio") +
           "}\n.limit{fill:none;stroke-width:1;stroke-dasharray:3 3;" + Use("stroke", "damage") +
           "}\n.key{fill:none;stroke-width:1;" + Use("stroke", "video") + "}\n" + ExtraLines();
}

std::string KindStyles()
{
    std::string text;
    for (const char* const kind : {"headers", "index", "video", "audio", "other", "padding", "damage"})
        text += '.' + std::string(kind) + '{' + Use("fill", kind) + "}\n";
    return text;
}
} // namespace

std::string PictureStyle()
{
    return Properties() + TextStyles() + ShapeStyles() + KindStyles();
}

// Below the picture, at its width: tables begin where its headings do.
std::string PageStyle(uint64_t width)
{
    return "body{margin:16px;" + std::string(kFont) + Use("background", "paper") + Use("color", "ink") +
           "font-size:14px;line-height:1.45}\n"
           "main{margin:0 auto;max-width:" +
           std::to_string(width) +
           "px}\n"
           "svg{display:block;max-width:100%;height:auto}\n"
           ".tables{padding:0 " +
           Trimmed(100 * kSideMargin / static_cast<double>(width), 3) +
           "%}\n"
           "h2{font-size:16px;margin:24px 0 8px}\n"
           ".scroll{overflow-x:auto}\n"
           "table{border-collapse:collapse;font-variant-numeric:tabular-nums}\n"
           "th,td{padding:3px 12px 3px 0;text-align:left;border-bottom:1px solid;" +
           Use("border-color", "grid") +
           "}\n"
           "th{font-weight:600}\n"
           ".number{text-align:right}\n"
           "li.found::marker{" +
           Use("color", "damage") + "}\n";
}

const char* StyleOf(EKrSpanKind kind)
{
    static constexpr std::array<const char*, kSpanKinds> kStyles = {"headers", "padding", "index", "video",
                                                                    "audio",   "other",   "damage"};
    return kStyles[static_cast<size_t>(kind)];
}
} // namespace KrTool
