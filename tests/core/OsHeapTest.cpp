#include "OS.h"
#include "OsHeap.h"

#include <gtest/gtest.h>

#include <cstring>
#include <malloc.h>

TEST(OsHeap, LargeBlocksArePaddedToSixteenBytes)
{
    EXPECT_EQ(Kv::OsHeap::requestSize(0), 1u);
    EXPECT_EQ(Kv::OsHeap::requestSize(100), 100u);
    EXPECT_EQ(Kv::OsHeap::requestSize(131072), 131072u);
    EXPECT_EQ(Kv::OsHeap::requestSize(131073), 131104u);
    EXPECT_EQ(Kv::OsHeap::requestSize(131088), 131104u);
    EXPECT_EQ(Kv::OsHeap::requestSize(131104), 131120u);
}

TEST(OsHeap, AllocatesUsableMemory)
{
    iHeap* heap = OS()->heap();
    void* tiny = heap->alloc(0);
    ASSERT_NE(tiny, nullptr);
    EXPECT_GE(malloc_usable_size(tiny), 1u);

    auto* block = static_cast<unsigned char*>(heap->alloc(200000));
    ASSERT_NE(block, nullptr);
    EXPECT_GE(malloc_usable_size(block), 200016u);
    std::memset(block, 0xAB, 200000);
    block = static_cast<unsigned char*>(heap->reAlloc(block, 400000));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block[199999], 0xAB);
    EXPECT_TRUE(heap->isPointerValid(block));
    EXPECT_TRUE(heap->isMemoryValid(block, 400000));
    heap->deAlloc(block);
    heap->deAlloc(tiny);
    heap->deAlloc(nullptr);
}

TEST(OsHeap, OpenSSLHooksReachTheHeap)
{
    auto* block = static_cast<char*>(Custom_malloc_fn(10, __FILE__, __LINE__));
    ASSERT_NE(block, nullptr);
    std::memcpy(block, "kvos", 5);
    block = static_cast<char*>(Custom_realloc_fn(block, 300000, __FILE__, __LINE__));
    ASSERT_NE(block, nullptr);
    EXPECT_STREQ(block, "kvos");
    Custom_free_fn(block, __FILE__, __LINE__);
}
