#include "tests/scheduler/KrScheduler.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <utility>

#include <cxxabi.h>
#include <ucontext.h>

#if defined(__SANITIZE_ADDRESS__)
#define KR_ADDRESS_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KR_ADDRESS_SANITIZER
#endif
#endif

#if defined(KR_ADDRESS_SANITIZER)
#include <sanitizer/common_interface_defs.h>
#endif

namespace
{
constexpr size_t kStackSize = size_t{256} << 10;

KrTest::CKrScheduler* g_current = nullptr;

// The address sanitizer must be notified of switches to stacks other than the thread's.
#if defined(KR_ADDRESS_SANITIZER)
void BeforeSwitch(void** fakeStack, const void* stack, size_t size)
{
    __sanitizer_start_switch_fiber(fakeStack, stack, size);
}
void AfterSwitch(void* fakeStack, const void** from, size_t* size)
{
    __sanitizer_finish_switch_fiber(fakeStack, from, size);
}
#else
void BeforeSwitch(void**, const void*, size_t) {}
void AfterSwitch(void*, const void**, size_t*) {}
#endif

// The exceptions under way belong to an activity, but the runtime keeps them for each thread.
struct SKrExceptions
{
    void* caught;
    unsigned uncaught;
};

SKrExceptions& ThreadsExceptions()
{
    return *reinterpret_cast<SKrExceptions*>(abi::__cxa_get_globals());
}
} // namespace

namespace KrTest
{
// Stack and registers of the thread that called Run.
struct CKrScheduler::SKrOutside
{
    ucontext_t context{};
    void* fakeStack = nullptr;
    const void* stack = nullptr;
    size_t stackSize = 0;
};

struct CKrScheduler::SKrActivity
{
    std::function<void()> body;
    std::unique_ptr<std::byte[]> stack;
    ucontext_t context{};
    void* fakeStack = nullptr;
    const void* waitsFor = nullptr;
    bool mayTimeOut = false;
    bool wasWoken = false;
    bool ended = false;
    uint64_t number = 0;
    int locks = 0;
};

CKrScheduler::CKrScheduler(uint64_t seed)
    : m_random(seed), m_switchOneIn(uint32_t{1} << (seed % 4)), m_outside(std::make_unique<SKrOutside>())
{
}

CKrScheduler::~CKrScheduler() = default;

CKrScheduler* CKrScheduler::Current()
{
    return g_current;
}

void CKrScheduler::Add(std::function<void()> body)
{
    auto activity = std::make_unique<SKrActivity>();
    activity->body = std::move(body);
    activity->stack = std::make_unique_for_overwrite<std::byte[]>(kStackSize);
    activity->number = m_activities.size() + 1;
    ::getcontext(&activity->context);
    activity->context.uc_stack.ss_sp = activity->stack.get();
    activity->context.uc_stack.ss_size = kStackSize;
    activity->context.uc_link = nullptr;
    const auto address = reinterpret_cast<uintptr_t>(activity.get());
    ::makecontext(&activity->context, reinterpret_cast<void (*)()>(&CKrScheduler::Enter), 2,
                  static_cast<unsigned>(address >> 32), static_cast<unsigned>(address));
    m_activities.push_back(std::move(activity));
}

std::string CKrScheduler::Run()
{
    CKrScheduler* const outer = std::exchange(g_current, this);
    while (m_problem.empty())
    {
        SKrActivity* const next = ChooseNext();
        if (next == nullptr)
            break;
        SwitchTo(*next);
    }
    g_current = outer;
    const bool allEnded = std::ranges::all_of(m_activities, [](const auto& each) { return each->ended; });
    if (m_problem.empty() && !allEnded)
    {
        m_problem = "no activity can run; waiting:";
        for (const auto& activity : m_activities)
        {
            if (!activity->ended)
                m_problem += " " + std::to_string(activity->number);
        }
    }
    return m_problem;
}

// Any activity that does not wait. Those that may time out are chosen only when no other is left, or by
// chance.
CKrScheduler::SKrActivity* CKrScheduler::ChooseNext()
{
    constexpr size_t kTimeOutOneIn = 16;
    std::vector<SKrActivity*> ready;
    std::vector<SKrActivity*> timed;
    for (const auto& activity : m_activities)
    {
        if (activity->ended)
            continue;
        if (activity->waitsFor == nullptr)
            ready.push_back(activity.get());
        else if (activity->mayTimeOut)
            timed.push_back(activity.get());
    }
    if (!timed.empty() && (ready.empty() || Choose(kTimeOutOneIn) == 0))
    {
        SKrActivity* const next = timed[Choose(timed.size())];
        next->waitsFor = nullptr;
        return next;
    }
    return ready.empty() ? nullptr : ready[Choose(ready.size())];
}

void CKrScheduler::SwitchTo(SKrActivity& next)
{
    m_current = &next;
    BeforeSwitch(&m_outside->fakeStack, next.stack.get(), kStackSize);
    ::swapcontext(&m_outside->context, &next.context);
    AfterSwitch(m_outside->fakeStack, nullptr, nullptr);
    m_current = nullptr;
}

void CKrScheduler::ReturnToRun()
{
    SKrActivity& self = *m_current;
    const SKrExceptions exceptions = std::exchange(ThreadsExceptions(), SKrExceptions{});
    BeforeSwitch(self.ended ? nullptr : &self.fakeStack, m_outside->stack, m_outside->stackSize);
    ::swapcontext(&self.context, &m_outside->context);
    AfterSwitch(self.fakeStack, &m_outside->stack, &m_outside->stackSize);
    ThreadsExceptions() = exceptions;
}

void CKrScheduler::Enter(unsigned high, unsigned low)
{
    auto& activity = *reinterpret_cast<SKrActivity*>((uintptr_t{high} << 32) | low);
    CKrScheduler& scheduler = *g_current;
    AfterSwitch(nullptr, &scheduler.m_outside->stack, &scheduler.m_outside->stackSize);
    scheduler.Body(activity);
    activity.ended = true;
    scheduler.ReturnToRun();
    std::abort(); // an ended activity is never chosen
}

void CKrScheduler::Body(SKrActivity& activity)
{
    try
    {
        activity.body();
    }
    catch (const std::exception& exception)
    {
        m_problem = "activity " + std::to_string(activity.number) + " threw: " + exception.what();
    }
}

void CKrScheduler::Yield()
{
    if (Choose(m_switchOneIn) == 0)
        ReturnToRun();
}

bool CKrScheduler::WaitFor(const void* what, bool mayTimeOut)
{
    SKrActivity& self = *m_current;
    self.waitsFor = what;
    self.mayTimeOut = mayTimeOut;
    self.wasWoken = false;
    ReturnToRun();
    return self.wasWoken;
}

void CKrScheduler::WakeAll(const void* what)
{
    for (const auto& activity : m_activities)
    {
        if (activity->waitsFor != what || activity->ended)
            continue;
        activity->waitsFor = nullptr;
        activity->wasWoken = true;
    }
}

void CKrScheduler::WakeOne(const void* what)
{
    std::vector<SKrActivity*> waiting;
    for (const auto& activity : m_activities)
    {
        if (activity->waitsFor == what && !activity->ended)
            waiting.push_back(activity.get());
    }
    if (waiting.empty())
        return;
    SKrActivity* const woken = waiting[Choose(waiting.size())];
    woken->waitsFor = nullptr;
    woken->wasWoken = true;
}

void CKrScheduler::CountLock(int change)
{
    if (m_current != nullptr)
        m_current->locks += change;
}

int CKrScheduler::LocksHeld() const
{
    return m_current != nullptr ? m_current->locks : 0;
}

uint64_t CKrScheduler::Activity() const
{
    return m_current->number;
}

size_t CKrScheduler::Choose(size_t count)
{
    return static_cast<size_t>(m_random() % count);
}

void YieldToScheduler()
{
    if (CKrScheduler* const scheduler = CKrScheduler::Current())
        scheduler->Yield();
}
} // namespace KrTest
