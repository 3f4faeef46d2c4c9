// Writes files of one and of three segments, with and without sound, into a folder: MakeFiles FOLDER. Large
// payloads are zeros, which take no space on the disk.
#include "tests/support/KrOsTestFiles.h"
#include "tests/writer/KrRecorder.h"

#include <cstdio>
#include <string>

using namespace KrTest;

namespace
{
constexpr size_t kFramesOfOne = 100;
constexpr size_t kFramesOfThree = 50; // 60 MB each
constexpr size_t kLargeFrame = 60'000'000;

bool Make(const std::wstring& path, bool withAudio, bool isLarge)
{
    CKrRecorder recorder(EKrWorker::None);
    SKrWritten written;
    if (withAudio)
        written.pcm = SKrPcmFormat{};
    bool ok = recorder.Open(written) != 0;
    const size_t frames = isLarge ? kFramesOfThree : kFramesOfOne;
    for (size_t number = 0; number < frames; ++number)
    {
        ok = ok && (!withAudio || recorder.AddPatternAudio(kBytesOf25thSecond) != 0);
        ok = ok &&
             (isLarge ? recorder.AddZeroVideo(kLargeFrame) : recorder.AddPatternVideo(1000 + number)) != 0;
    }
    const SKrCheckedAvi checked = recorder.Close();
    const CKrFileContent content = recorder.Content();
    ok = Os::WriteSparseFile(path, content) && ok;
    return ok && checked.problems.empty() && checked.segments.size() == (isLarge ? 4u : 2u);
}
} // namespace

int main(int count, char** arguments)
{
    if (count != 2)
        return 2;
    const std::string narrow = arguments[1];
    const std::wstring folder(narrow.begin(), narrow.end());
    bool ok = true;
    for (const bool withAudio : {false, true})
    {
        const std::wstring sound = withAudio ? L"sound" : L"silent";
        ok = Make(folder + L"/one-" + sound + L".avi", withAudio, false) && ok;
        ok = Make(folder + L"/three-" + sound + L".avi", withAudio, true) && ok;
    }
    std::puts(ok ? "made" : "FAILED");
    return ok ? 0 : 1;
}
