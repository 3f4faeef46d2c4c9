#include "tools/command/KrReport.h"

#include "tools/command/KrColour.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrStandardOutput.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>

namespace KrTool
{
namespace
{
constexpr size_t kLabelWidth = 27;
constexpr size_t kIndentStep = 2;

std::string Label(std::string_view key)
{
    std::string label;
    for (const char character : key)
    {
        const auto byte = static_cast<unsigned char>(character);
        if (std::isupper(byte) != 0)
            label += ' ';
        label += static_cast<char>(std::tolower(byte));
    }
    return label;
}

std::string Scalar(const Json& value)
{
    if (value.is_null())
        return "none";
    if (value.is_boolean())
        return value.get<bool>() ? "yes" : "no";
    return value.is_string() ? Printable(value.get_ref<const std::string&>()) : JsonText(value);
}

// A value on one line.
std::string Inline(const Json& value)
{
    if (value.is_object() && value.contains("value") && value.contains("name"))
    {
        const std::string name = Scalar(value["name"]);
        return value["value"].is_null() ? name : Format("{} ({})", Scalar(value["value"]), name);
    }
    if (!value.is_structured())
        return Scalar(value);
    if (value.empty())
        return "none";
    std::string line;
    for (const auto& item : value.items())
    {
        line += line.empty() ? "" : ", ";
        line += value.is_object() ? Label(item.key()) + ' ' : std::string();
        line += Inline(item.value());
    }
    return line;
}

std::string Line(size_t indent, std::string_view label, std::string_view text)
{
    std::string line(indent, ' ');
    line += label;
    if (!text.empty())
    {
        line.resize(std::max(line.size() + 1, kLabelWidth), ' ');
        line += text;
    }
    return line + '\n';
}

bool IsBlock(const Json& value)
{
    return value.is_object() && !value.empty() && !value.contains("value");
}

bool IsTable(const Json& value)
{
    return value.is_array() && !value.empty() && value.front().is_structured();
}

void AppendText(std::string& out, size_t indent, std::string_view label, const Json& value)
{
    if (IsBlock(value))
    {
        out += Line(indent, label, {});
        for (const auto& member : value.items())
            AppendText(out, indent + kIndentStep, Label(member.key()), member.value());
    }
    else if (IsTable(value))
    {
        out += Line(indent, label, {});
        for (const Json& row : value)
            out += Line(indent + kIndentStep, Inline(row), {});
    }
    else
    {
        out += Line(indent, label, Inline(value));
    }
}
} // namespace

std::string JsonText(const Json& value)
{
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string PlainText(std::string_view key, const Json& value)
{
    std::string out;
    AppendText(out, 0, Label(key), value);
    return out;
}

void CKrReport::BeginMember(std::string_view key)
{
    Print(m_hasMembers ? "," : "{");
    if (!m_asLines)
        Print("\n  ");
    Print(JsonText(key));
    Print(": ");
    m_hasMembers = true;
}

void CKrReport::EndObject()
{
    Print(m_asLines ? "}\n" : "\n}\n");
}

void CKrReport::Line(const Json& value, std::string_view text)
{
    if (m_asJson)
        Print(JsonText(value) + "\n");
    else if (PrintsText())
        Print(text);
    FlushOutput();
}

void CKrReport::Fact(std::string_view key, const Json& value, const Json& shown)
{
    FactInWords(key, value, PrintsText() ? PlainText(key, shown) : std::string());
}

void CKrReport::FactInWords(std::string_view key, const Json& value, std::string_view text)
{
    if (PrintsText())
        Print(text);
    if (!m_asJson)
        return;
    BeginMember(key);
    Print(JsonText(value));
}

void CKrReport::BeginRows(std::string_view key, std::string_view heading)
{
    m_hasRows = false;
    m_inRows = true;
    if (PrintsText())
        Print(heading);
    if (!m_asJson)
        return;
    BeginMember(key);
    Print("[");
}

void CKrReport::Row(const Json& value, std::string_view text)
{
    if (PrintsText())
        Print(text);
    if (!m_asJson)
        return;
    const std::string_view indent = m_asLines ? "" : "\n    ";
    Print(m_hasRows ? "," : "");
    Print(indent);
    Print(JsonText(value));
    m_hasRows = true;
}

void CKrReport::EndRows()
{
    m_inRows = false;
    if (m_asJson)
        Print(m_hasRows && !m_asLines ? "\n  ]" : "]");
}

void CKrReport::LeaveOutput()
{
    if (m_asJson)
        throw CKrToolError({}, "--json and - both need the standard output");
    m_detail = EKrDetail::Quiet;
}

void CKrReport::BeginFile(const std::string& file)
{
    if (m_hasFiles && PrintsText())
        Print("\n");
    m_hasFiles = true;
    m_file = file;
    m_asLines = true;
}

void CKrReport::EndFile()
{
    PrintRemarks();
    if (!m_findings.empty())
        m_worst = std::max(m_worst, kExitFindings);
    ForgetFile();
}

void CKrReport::FailFile(const std::string& path, const std::string& cause)
{
    m_worst = kExitFailed;
    if (m_asJson || m_detail != EKrDetail::Brief)
        PrintError(path, cause);
    if (m_asJson)
        Fail(path, cause);
    else if (m_detail == EKrDetail::Brief)
        Print(Format("{}: failed: {}\n", Printable(m_file), Printable(cause)));
    ForgetFile();
}

void CKrReport::ForgetFile()
{
    FlushOutput();
    m_notes.clear();
    m_findings.clear();
    m_brief.clear();
    m_hasMembers = false;
}

void CKrReport::PrintRemarks()
{
    if (m_asJson)
    {
        Fact("notes", m_notes);
        Fact("findings", m_findings);
        EndObject();
        return;
    }
    if (m_detail == EKrDetail::Brief)
        return Print(Format("{}: {}\n", Printable(m_file), m_brief));
    for (const std::string& text : m_notes)
    {
        if (PrintsText())
            Print(Format("{} {}\n", Coloured(EKrColour::Cyan, "note:"), Printable(text)));
    }
    for (const std::string& text : m_findings)
    {
        if (PrintsText())
            Print(Format("{} {}\n", Coloured(EKrColour::Red, "finding:"), Printable(text)));
        else
            PrintDiagnostic(
                Format("kravi: {}{}\n", m_file.empty() ? "" : Printable(m_file) + ": ", Printable(text)));
    }
}

int CKrReport::Finish()
{
    if (!m_hasFiles)
        EndFile();
    FlushOutput();
    return m_worst;
}

int CKrReport::Fail(const std::string& path, const std::string& cause)
{
    if (m_asJson)
    {
        if (m_inRows)
            EndRows();
        Fact("error", {{"file", path.empty() ? Json() : Json(path)}, {"cause", cause}});
        EndObject();
    }
    FlushOutput();
    return kExitFailed;
}
} // namespace KrTool
