// The writers of the C interface.
#ifndef KR_BINDINGS_C_KRWRITERHANDLE_H
#define KR_BINDINGS_C_KRWRITERHANDLE_H

#include "base/KrRef.h"
#include "bindings/c/KrCall.h"
#include "bindings/c/KrHandleFiles.h"
#include "bindings/c/KrHandled.h"
#include "writer/KrAviWriter.h"
#include "writer/KrWriterSetup.h"

#include <cstdint>
#include <memory>
#include <string>

class CKrWriterHandle final : public CKrHandled
{
public:
    explicit CKrWriterHandle(int (*createThread)(int kind, IKrWorkerThread** out) = &KrCreateWorkerThread)
        : m_files(*this), m_writer(CKrRef<CKrAviWriter>::Adopt(
                              new CKrAviWriter({.fileSystem = m_files, .createWorkerThread = createThread})))
    {
    }

    [[nodiscard]] SKrOutcome Open(const std::wstring& path, const kr_clip& clip);
    [[nodiscard]] SKrOutcome OpenOutput(const kr_output& callbacks, const kr_clip& clip);
    [[nodiscard]] SKrOutcome Close();

    // A sample of the host's memory, which `release` is told of, or of a copy.
    [[nodiscard]] SKrOutcome Add(EKrStream stream, KrByteSpan bytes, kr_release_fn release, void* context);
    [[nodiscard]] SKrOutcome AddCopy(EKrStream stream, KrByteSpan bytes);
    [[nodiscard]] SKrOutcome WriteChunk(EKrStream stream, KrByteSpan bytes);

    [[nodiscard]] IKrAviWriter& Writer() { return *m_writer; }
    [[nodiscard]] SKrRecordingStatus Status();

private:
    // `output` is null for a file of the system.
    [[nodiscard]] SKrOutcome OpenBy(const std::wstring& path, const kr_clip& clip,
                                    std::shared_ptr<CKrOutput> output);
    [[nodiscard]] SKrOutcome WhyRefused(EKrStream stream);
    [[nodiscard]] bool Submit(EKrStream stream, IKrMediaSample& sample);
    void KeepOutput(std::shared_ptr<CKrOutput> output);

    // Before the writer, which uses them to its end, and the output is released after that.
    CKrHandleFiles m_files;
    CKrMutex m_outputLock;               // held for the exchange of a pointer; no lock follows
    std::shared_ptr<CKrOutput> m_output; // of the open file
    CKrRef<CKrAviWriter> m_writer;
    KrAtomic<bool> m_hasAudio = false;
};

template <>
struct SKrHandleTraits<kr_writer>
{
    using Object = CKrWriterHandle;
    static constexpr EKrHandleKind kKind = EKrHandleKind::Writer;
};

#endif
