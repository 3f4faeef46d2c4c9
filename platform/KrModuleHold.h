// Keeps the library loaded while a thread of its own runs: a host that unloads it meanwhile must not take the
// code away from under that thread.
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

    // Gives it back. Whoever calls this runs in the module: somebody else must hold it as well.
    void Drop();

    // Never gives it back: for the thread that would be the last to run in the module.
    void Keep() { m_module = nullptr; }

private:
    void* m_module = nullptr; // the system's handle
};

#endif
