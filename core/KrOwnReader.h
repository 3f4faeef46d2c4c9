// How the library tells its own readers from a host's implementation of the same interface.
#ifndef KR_CORE_KROWNREADER_H
#define KR_CORE_KROWNREADER_H

class CKrReentrantLock;
class IKrRiffReader;

// The lock of a reader that this library made, or null for any other object. The compiler's run-time type
// information is not asked: a host's object may come from another compiler, whose tables ours cannot read.
CKrReentrantLock* FindOwnReaderLock(IKrRiffReader* reader);

#endif
