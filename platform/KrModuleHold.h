// Keeps the library loaded while a thread of its own runs, so that a host that unloads it does not remove the
// code that the thread runs.
#ifndef KR_PLATFORM_KRMODULEHOLD_H
#define KR_PLATFORM_KRMODULEHOLD_H

class CKrModuleHold
{
public:
    CKrModuleHold() = default;
    ~CKrModuleHold() { Drop(); }
    CKrModuleHold(const CKrModuleHold&) = delete;
    CKrModuleHold& operator=(const CKrModuleHold&) = delete;

    // Adds a reference to the module that this code lies in, one at most.
    void Take();

    // Releases it. The caller runs in the module, so somebody else must hold that as well.
    void Drop();

    // Never releases it: for the thread that would be the last to run in the module.
    void Keep() { m_module = nullptr; }

private:
    void* m_module = nullptr; // the system's handle
};

#endif
