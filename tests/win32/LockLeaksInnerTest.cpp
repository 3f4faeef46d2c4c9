// Contended locks free their resources.
#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrReentrantLock.h"
#include "base/KrRef.h"
#include "platform/KrSync.h"
#include "reader/KrRiffReader.h"
#include "siblings/KrKernel/KrWorkerThread.h"
#include "tests/win32/KrProcessUse.h"

#include <mutex>

using namespace KrTest;

TEST(LockLeaks, ReadersWaitedFor)
{
    ExpectNothingLeft(300,
                      [](int rounds)
                      {
                          for (int round = 0; round < rounds; ++round)
                          {
                              CKrRef<IKrRiffReader> reader;
                              ASSERT_EQ(KrCreateRiffReader(reader.Put()), 1);
                              CKrReentrantLock& lock = *CKrRiffReader::FindLock(reader.Get());
                              lock.Enter();
                              const CKrHostThread thread([&] { EXPECT_EQ(reader->GetFileLength(), 0u); });
                              Sleep(1); // by now it waits
                              lock.Leave();
                          }
                      });
}

TEST(LockLeaks, MutexesAndConditionsWaitedFor)
{
    ExpectNothingLeft(300,
                      [](int rounds)
                      {
                          for (int round = 0; round < rounds; ++round)
                          {
                              CKrMutex mutex;
                              CKrCondition changed;
                              int turns = 0; // guarded by mutex
                              const CKrHostThread thread(
                                  [&]
                                  {
                                      std::unique_lock guard(mutex);
                                      EXPECT_FALSE(changed.WaitFor(guard, 1, [] { return false; }));
                                      turns = 1;
                                      changed.NotifyAll();
                                  });
                              std::unique_lock guard(mutex);
                              Sleep(1); // by now it waits
                              changed.Wait(guard, [&] { return turns == 1; });
                          }
                      });
}

TEST(LockLeaks, WorkerThreads)
{
    ExpectNothingLeft(1000,
                      [](int rounds)
                      {
                          for (int round = 0; round < rounds; ++round)
                          {
                              CKrRef<IKrWorkerThread> worker;
                              ASSERT_EQ(KrCreateWorkerThread(0, worker.Put()), 1);
                              worker->SetWorkRoutine([](void*, std::stop_token) -> uint32_t { return 0; },
                                                     nullptr);
                              ASSERT_EQ(worker->Start(), 1);
                              EXPECT_EQ(worker->WaitForEnd(kKrWaitForEver), 1);
                          }
                      });
}
