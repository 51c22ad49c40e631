#include "Ptr.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace
{
    class Probe : public virtual iObject
    {
    public:
        explicit Probe(int* deaths) : deaths(deaths) {}
        ~Probe() override { ++*deaths; }

        int* deaths;
    };

    class Derived : public Probe
    {
    public:
        using Probe::Probe;
    };

    // Owns another thing, to show that assigning from what the old thing owns is safe.
    class Owner : public virtual iObject
    {
    public:
        Kv::Ptr<Probe> owned;
    };

    int countOf(const iObject& object) { return static_cast<const Kv::InternalRefCount&>(object).count; }
}

TEST(Ptr, WrappingCountsFromZeroAssignmentKeepsCountsAndTheLastReleaseDestroys)
{
    int deaths = 0;
    auto* raw = new Probe(&deaths);
    EXPECT_EQ(countOf(*raw), 0);
    Kv::Ptr<Probe> a(raw);
    Kv::Ptr<Probe> b(new Probe(&deaths));
    a = a;
    EXPECT_EQ(countOf(*raw), 1);
    {
        Kv::Ptr<iObject> base = a;
        EXPECT_EQ(countOf(*raw), 2);
        a = b;
        EXPECT_EQ(countOf(*b), 2);
        EXPECT_EQ(countOf(*raw), 1);
        EXPECT_EQ(deaths, 0);
    }
    EXPECT_EQ(deaths, 1);
    a = nullptr;
    EXPECT_FALSE(a);
    EXPECT_EQ(countOf(*b), 1);
}

TEST(Ptr, AssigningWhatTheOldThingOwnsIsSafe)
{
    int deaths = 0;
    Kv::Ptr<Owner> owner(new Owner);
    owner->owned = Kv::Ptr<Probe>(new Probe(&deaths));
    Owner* raw = owner.get();
    Kv::Ptr<iObject> holder = owner;
    owner = Kv::Ptr<Owner>();
    // The only reference to the owner is replaced by the thing it owns.
    holder = raw->owned;
    EXPECT_EQ(deaths, 0);
    EXPECT_EQ(countOf(*holder), 1);
    holder = Kv::Ptr<iObject>();
    EXPECT_EQ(deaths, 1);
}

TEST(Ptr, DynamicCastCountsOnlyOnSuccess)
{
    int deaths = 0;
    Kv::Ptr<iObject> base(new Derived(&deaths));
    EXPECT_EQ(countOf(*base), 1);

    Kv::Ptr<Owner> wrong = Kv::dynamicCast<Owner>(base);
    EXPECT_FALSE(wrong);
    EXPECT_EQ(countOf(*base), 1);

    Kv::Ptr<Derived> right = Kv::dynamicCast<Derived>(base);
    ASSERT_TRUE(right);
    EXPECT_EQ(countOf(*base), 2);
    EXPECT_EQ(static_cast<iObject*>(right.get()), base.get());

    EXPECT_FALSE(Kv::dynamicCast<Derived>(Kv::Ptr<iObject>()));
}

TEST(Ptr, ExternalCountOwnsAPlainBuffer)
{
    EXPECT_FALSE((Kv::Ptr<char, Kv::DtorTraits, Kv::ExternalRefCountTraits>(nullptr)));
    auto* bytes = static_cast<char*>(::operator new(64));
    Kv::Ptr<char, Kv::DtorTraits, Kv::ExternalRefCountTraits> buffer(bytes);
    {
        auto copy = buffer;
        copy.get()[0] = 'k';
    }
    EXPECT_EQ(buffer.get()[0], 'k');
}

TEST(Ptr, CopiesFromManyThreadsDestroyOnce)
{
    int deaths = 0;
    Kv::Ptr<Probe> shared(new Probe(&deaths));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([shared] {
            for (int i = 0; i < 20000; ++i) {
                Kv::Ptr<Probe> copy = shared;
                Kv::Ptr<iObject> base;
                base = copy;
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(countOf(*shared), 1);
    shared = Kv::Ptr<Probe>();
    EXPECT_EQ(deaths, 1);
}
