// The re-entrant lock, its depth, and the scopes that hold it.
#include "base/KrReentrantLock.h"

#include "tests/support/KrThreadGate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

using namespace KrTest;

namespace
{
// Whether another thread could enter now.
bool IsFree(CKrReentrantLock& lock)
{
    bool entered = false;
    std::jthread(
        [&]
        {
            entered = lock.TryEnter();
            if (entered)
                lock.Leave();
        })
        .join();
    return entered;
}
} // namespace

TEST(ReentrantLock, NewLock_IsFree)
{
    CKrReentrantLock lock;
    EXPECT_TRUE(IsFree(lock));
}

TEST(ReentrantLock, EnteredLock_RefusesOtherThreadsUntilLeft)
{
    CKrReentrantLock lock;
    lock.Enter();
    EXPECT_FALSE(IsFree(lock));
    lock.Leave();
    EXPECT_TRUE(IsFree(lock));
    ASSERT_TRUE(lock.TryEnter());
    EXPECT_FALSE(IsFree(lock));
    lock.Leave();
    EXPECT_TRUE(IsFree(lock));
}

TEST(ReentrantLock, HolderMayEnterAgain_AndMustLeaveAsOften)
{
    CKrReentrantLock lock;
    lock.Enter();
    ASSERT_TRUE(lock.TryEnter());
    lock.Enter();
    lock.Leave();
    EXPECT_FALSE(IsFree(lock));
    lock.Leave();
    EXPECT_FALSE(IsFree(lock));
    lock.Leave();
    EXPECT_TRUE(IsFree(lock));
}

TEST(ReentrantLock, LeaveBeyondTheEntries_DoesNothing)
{
    CKrReentrantLock lock;
    lock.Leave();
    EXPECT_TRUE(IsFree(lock));
    lock.Enter();
    lock.Leave();
    lock.Leave();
    EXPECT_TRUE(IsFree(lock));
    lock.Enter();
    EXPECT_FALSE(IsFree(lock)) << "a Leave too many does not eat a later entry";
    lock.Leave();
}

TEST(ReentrantLock, Enter_WaitsForTheHolder)
{
    CKrReentrantLock lock;
    std::atomic<bool> entered = false;
    lock.Enter();
    std::jthread waiter(
        [&]
        {
            lock.Enter();
            entered = true;
            lock.Leave();
        });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(entered);
    lock.Leave();
    waiter.join();
    EXPECT_TRUE(entered);
}

TEST(LockScope, Scope_HoldsTheLockUntilItEnds)
{
    CKrReentrantLock lock;
    {
        const CKrLockScope scope(lock);
        EXPECT_FALSE(IsFree(lock));
        const CKrLockScope again(lock);
        EXPECT_FALSE(IsFree(lock));
    }
    EXPECT_TRUE(IsFree(lock));
}

TEST(TryLockScope, FreeLock_IsEnteredAndLeft)
{
    CKrReentrantLock lock;
    {
        const CKrTryLockScope scope(lock);
        EXPECT_TRUE(scope.Entered());
        EXPECT_FALSE(IsFree(lock));
    }
    EXPECT_TRUE(IsFree(lock));
}

TEST(TryLockScope, BusyLock_IsNeitherEnteredNorLeft)
{
    CKrReentrantLock lock;
    CKrThreadGate gate;
    std::jthread holder(
        [&]
        {
            const CKrLockScope scope(lock);
            gate.Pass();
        });
    const CKrGateOpener opener(gate);
    ASSERT_TRUE(gate.WaitForArrival());
    {
        const CKrTryLockScope scope(lock);
        EXPECT_FALSE(scope.Entered());
    }
    EXPECT_FALSE(IsFree(lock)) << "the refused scope left nothing";
    gate.Open();
    holder.join();
    EXPECT_TRUE(IsFree(lock));
}

TEST(TryLockScope, LockKeptOnPurpose_StaysHeldByItsThread)
{
    CKrReentrantLock lock;
    {
        CKrTryLockScope scope(lock);
        ASSERT_TRUE(scope.Entered());
        scope.LeaveTheLockHeldOnPurpose();
    }
    EXPECT_FALSE(IsFree(lock));
    EXPECT_TRUE(lock.TryEnter()) << "its thread may still enter";
    lock.Leave();
    EXPECT_FALSE(IsFree(lock));
    lock.Leave();
    EXPECT_TRUE(IsFree(lock)) << "the depth counted the entry that was kept";
}
