// Tick timers as the host drives them, the registry's order and refusals,
// and the mutex wrapper. The registry outlives the core and may already hold
// the core's own timers, so every test makes its timers last (high ids) and
// destroys them before it ends.
#include <memory>
#include <vector>

#include "PortTest.h"
#include "tamberTypes/tamberMutex.h"
#include "tamberTypes/tamberTimer.h"
#include "tqllib.h"

namespace {

using Ids = std::vector<int>;

class TimerTest : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        ASSERT_EQ(tql_init(), 1); // makes the log system and the core
        baseCount = tql_timerTick::instance()->count();
        port().logs.clear();
    }
    void TearDown() override
    {
        EXPECT_EQ(tql_timerTick::instance()->count(), baseCount) << "a timer outlived its test";
        PortTest::TearDown();
    }

public: // reached from the callbacks too
    // Records the id and the number of the host tick it fired in.
    static void record(void* ctx, int id)
    {
        auto* self = static_cast<TimerTest*>(ctx);
        self->fired.push_back(id);
        self->firedAt.push_back(self->tickNo);
    }
    // A timer of this test; armed unless the interval is -1.
    std::unique_ptr<tql_timer> make(int id, int64_t interval = -1, void* ctx = nullptr, tql_timerCallback cb = &record)
    {
        auto t = std::make_unique<tql_timer>(ctx ? ctx : this, id, cb);
        if ((t->m_interval = interval) != -1)
            t->start();
        return t;
    }
    int hostTick(unsigned ms)
    {
        ++tickNo;
        return tql_externalTimerTick(ms);
    }
    int baseCount = 0;
    int tickNo = 0;
    Ids fired, firedAt;
    tql_timer* subject = nullptr;
    std::unique_ptr<tql_timer> created;
};

TEST_F(TimerTest, HostTickNeedsACoreAndANonZeroArgument)
{
    if (tql_timerTick::instance()->count() == 0) {
        EXPECT_EQ(hostTick(25), 0); // no timers at all
    }
    auto t = make(901, 0);
    tql_deinit();
    EXPECT_EQ(hostTick(10), -1);
    ASSERT_EQ(tql_init(), 1);
    EXPECT_EQ(hostTick(0), -1);
    EXPECT_TRUE(port().logged("Invalid argument, timer tick has to be defined", 1));
    EXPECT_TRUE(fired.empty());
    EXPECT_EQ(t->getTime(), 0u); // nothing was counted either
    // The result is that of the last timer, here the core's own idle one.
    EXPECT_EQ(hostTick(10), -1);
    EXPECT_EQ(fired, Ids{901});
    EXPECT_EQ(t->getTime(), 10u);
}

TEST_F(TimerTest, OneShotFiresOnceWhenTheCountReachesItsInterval)
{
    const struct {
        int64_t interval;
        unsigned tick;
        int firesOnTick;
    } cases[] = {{100, 30, 4}, {100, 1000, 1}, {100, 100, 1}, {100, 99, 2}, {1, 1, 1}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.interval << " by " << c.tick);
        firedAt.clear();
        tickNo = 0;
        auto t = make(902, c.interval);
        for (int n = 1; n < c.firesOnTick; ++n)
            EXPECT_EQ(hostTick(c.tick), 0);
        EXPECT_EQ(hostTick(c.tick), 1);
        EXPECT_EQ(firedAt, Ids{c.firesOnTick});
        EXPECT_FALSE(t->isRunning());
        EXPECT_EQ(t->m_interval, c.interval); // kept for re-arming
        EXPECT_EQ(hostTick(100000), -1);
        EXPECT_EQ(firedAt.size(), 1u);
    }
}

TEST_F(TimerTest, RegistrationOrderIsFiringOrderAndSurvivesRemoval)
{
    auto a = make(911, 0), b = make(912, 0), c = make(913, 0);
    EXPECT_EQ(hostTick(5), 1);
    EXPECT_EQ(fired, (Ids{911, 912, 913}));
    b.reset();
    EXPECT_TRUE(port().logged("Timer 912 removed", 1));
    auto d = make(914, 0);
    fired.clear();
    EXPECT_EQ(hostTick(5), 1);
    EXPECT_EQ(fired, (Ids{911, 913, 914}));
}

TEST_F(TimerTest, CallbackReArmsFromThePresentCountAndFiresAtMostOncePerTick)
{
    auto t = make(921, 100, this, [](void* p, int id) { // stores the next interval and starts again
        record(p, id);
        static_cast<TimerTest*>(p)->subject->m_interval = 50;
        static_cast<TimerTest*>(p)->subject->start();
    });
    subject = t.get();
    for (int n = 0; n < 8; ++n)
        hostTick(30); // 120 at tick 4, then 50 more from there: 180 and 240
    EXPECT_EQ(firedAt, (Ids{4, 6, 8}));
    EXPECT_EQ(hostTick(1000), 1); // twenty intervals late: still one firing
    EXPECT_EQ(hostTick(10), 0);
    EXPECT_EQ(firedAt, (Ids{4, 6, 8, 9}));
}

TEST_F(TimerTest, StopThenStartWithoutAnIntervalRunsButNeverFires)
{
    auto t = make(931, 20);
    EXPECT_EQ(hostTick(5), 0);
    t->stop();
    EXPECT_TRUE(port().logged("TIMER STOP", 4));
    EXPECT_FALSE(t->isRunning());
    EXPECT_EQ(t->m_interval, -1);
    EXPECT_EQ(t->getTime(), 5u);
    t->start();
    EXPECT_TRUE(t->isRunning());
    for (int n = 0; n < 3; ++n)
        EXPECT_EQ(hostTick(1000), 0);
    EXPECT_TRUE(fired.empty());
    EXPECT_EQ(t->getTime(), 3005u); // running: the whole count, not since start
    t->stop();
    EXPECT_EQ(t->getTime(), 3000u); // stopped: between start and stop
}

TEST_F(TimerTest, TickResultIsThatOfTheLastTimer)
{
    tql_timerTick* tick = tql_timerTick::instance();
    auto first = make(941, 0), last = make(942);
    EXPECT_EQ(tick->on_timerTick(10), -1); // the first fired, the last is stopped
    EXPECT_EQ(fired, Ids{941});
    last->m_interval = 0;
    last->start();
    EXPECT_EQ(tick->on_timerTick(0), -1); // a zero tick fires nothing
    first->stop();
    EXPECT_EQ(tick->on_timerTick(10), 1);
    EXPECT_EQ(fired, (Ids{941, 942}));
}

TEST_F(TimerTest, DuplicateIdIsRefusedAndLogged)
{
    tql_timerTick* tick = tql_timerTick::instance();
    const int before = tick->count();
    Ids dupFired;
    auto original = make(951, 0);
    {
        auto dup = make(951, 0, &dupFired, [](void* p, int id) { static_cast<Ids*>(p)->push_back(id); });
        EXPECT_EQ(tick->count(), before + 1);
        EXPECT_TRUE(port().logged("Timer 951 already registered", 1));
        EXPECT_EQ(tick->registerTimer(original.get()), -1);
        tick->on_timerTick(10);
        EXPECT_EQ(fired, Ids{951});
        EXPECT_TRUE(dupFired.empty()); // outside the registry: never fires
    }
    // The refused timer's destructor removed the first timer with its id.
    EXPECT_EQ(tick->count(), before);
    EXPECT_EQ(port().countLogged("Timer 951 removed"), 1u);
    tick->on_timerTick(10);
    EXPECT_EQ(fired.size(), 1u);
    EXPECT_EQ(tick->registerTimer(original.get()), 951);
    tick->unregisterTimer(959); // unknown: nothing
    EXPECT_EQ(tick->count(), before + 1);
}

// A timer started by a callback for a later place in the list sees the same
// tick; so does one created there, when the append doesn't move the list.
TEST_F(TimerTest, TimerStartedOrCreatedByACallbackIsVisitedInTheSamePass)
{
    {
        std::vector<std::unique_ptr<tql_timer>> room; // grows the registry's storage
        for (int id = 970; id < 1000; ++id)
            room.push_back(make(id));
    }
    auto starter = make(961, 0, this, [](void* p, int id) {
        auto* f = static_cast<TimerTest*>(p);
        record(f, id);
        f->subject->m_interval = 10;
        f->subject->start();
        if (!f->created)
            f->created = f->make(963, 0);
    });
    auto later = make(962);
    subject = later.get();
    EXPECT_EQ(tql_timerTick::instance()->on_timerTick(10), 1);
    EXPECT_EQ(fired, (Ids{961, 962, 963}));
    created.reset(); // outside the tick
}

TEST(TimerMutexTest, TryLockAndIsLocked)
{
    tql_mutex m;
    EXPECT_EQ(m.isLocked(), 0);
    EXPECT_EQ(m.tryLock(), 1);
    EXPECT_EQ(m.isLocked(), 1);
    EXPECT_EQ(m.tryLock(), 0); // not recursive
    EXPECT_EQ(m.isLocked(), 1);
    m.unlock();
    EXPECT_EQ(m.isLocked(), 0);
    tql_mtx_lock(m.getMutexPtr()); // held by someone else: refused, not marked
    EXPECT_EQ(m.tryLock(), 0);
    EXPECT_EQ(m.isLocked(), 0);
    tql_mtx_unlock(m.getMutexPtr());
    m.lock();
    EXPECT_EQ(m.isLocked(), 1);
    m.unlock();
}

} // namespace
