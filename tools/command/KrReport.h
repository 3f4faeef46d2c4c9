// A verb's report: facts in the order in which they were added, notes, and findings, printed as text or as
// one JSON object. Lists of any length are printed row by row instead of being collected.
#ifndef KR_TOOLS_COMMAND_KRREPORT_H
#define KR_TOOLS_COMMAND_KRREPORT_H

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace KrTool
{
// Exit codes.
constexpr int kExitDone = 0;
constexpr int kExitFindings = 1;
constexpr int kExitFailed = 2;

using Json = nlohmann::ordered_json;

// The JSON text of a value; bytes that are not UTF-8 become the replacement character.
std::string JsonText(const Json& value);

// A fact as lines of text. The keys of objects become labels ("frameRate": "frame rate"); an object with
// "value" and "name" becomes one line, an array of objects one line for each.
std::string PlainText(std::string_view key, const Json& value);

// How much of a report is printed as text.
enum class EKrDetail
{
    Full,
    Brief, // one line for each file
    Quiet  // findings alone, on the error stream
};

class CKrReport
{
public:
    explicit CKrReport(bool asJson, EKrDetail detail = EKrDetail::Full) : m_asJson(asJson), m_detail(detail)
    {
    }
    CKrReport(const CKrReport&) = delete;
    CKrReport& operator=(const CKrReport&) = delete;

    bool AsJson() const { return m_asJson; }

    void Fact(std::string_view key, const Json& value) { Fact(key, value, value); }
    // `shown`: the value as the text report has it.
    void Fact(std::string_view key, const Json& value, const Json& shown);

    // `text`: the lines that the text report has instead, each with its end.
    void FactInWords(std::string_view key, const Json& value, std::string_view text);

    // A list. In text, `heading` precedes it and each row has its own text.
    void BeginRows(std::string_view key, std::string_view heading);
    void Row(const Json& value, std::string_view text);
    void EndRows();

    // From now on each JSON object is one line: those of Line as well as the report itself.
    void SetLines() { m_asLines = true; }

    // Prints a line of text or JSON at once, before all facts.
    void Line(const Json& value, std::string_view text);

    // A remark that is not a defect.
    void Note(const std::string& text) { m_notes.push_back(m_subject + text); }

    // A defect of the file. Makes the exit code 1.
    void Finding(const std::string& text) { m_findings.push_back(m_subject + text); }

    // With the brief report: the line about the file.
    void SetBrief() { m_detail = m_detail == EKrDetail::Full ? EKrDetail::Brief : m_detail; }
    void Brief(const std::string& text) { m_brief = text; }

    // The standard output is for data: as with EKrDetail::Quiet. Throws CKrToolError for a report as JSON.
    void LeaveOutput();

    // Within the report on several files: starts that on one of them, and ends it with its findings or with
    // the reason why there is no report. The exit code is that of the worst.
    void BeginFile(const std::string& file);
    void EndFile();
    void FailFile(const std::string& path, const std::string& cause);

    // With several files: the one that notes and findings are about from now on; empty: none.
    void SetSubject(const std::string& file) { m_subject = file.empty() ? std::string() : file + ": "; }

    // Prints what is left and returns the exit code.
    int Finish();

    // Ends the report early: its JSON object is completed with an "error" that names the file and the cause.
    // In text the diagnostics say it.
    int Fail(const std::string& path, const std::string& cause);

private:
    void BeginMember(std::string_view key);
    void EndObject();
    void PrintRemarks();
    void ForgetFile();
    [[nodiscard]] bool PrintsText() const { return !m_asJson && m_detail == EKrDetail::Full; }

    bool m_asJson;
    EKrDetail m_detail;
    bool m_asLines = false;
    bool m_hasMembers = false;
    bool m_inRows = false;
    bool m_hasRows = false;
    bool m_hasFiles = false;
    int m_worst = kExitDone; // of the files so far
    std::string m_file;      // of several
    std::string m_brief;
    std::string m_subject; // followed by a colon
    std::vector<std::string> m_notes;
    std::vector<std::string> m_findings;
};
} // namespace KrTool

#endif
