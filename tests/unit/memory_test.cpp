// The allocators: addresses, clearing, exhaustion, and what a unit leaves to the next.

#include "memory/memory.h"

#include <gtest/gtest.h>
#include <cstring>
#include <vector>

#include "diag/fatal.h"
#include "diag/report.h"
#include "platform/pages.h"

namespace {

class Memory : public testing::Test {
 protected:
  void SetUp() override {
    memoryStart();
    resetCounters();
  }
  void TearDown() override {
    memoryStop();
    resetCounters();
  }
};

// True if `body` ends in a fatal error.
bool endsUnit(void (*body)()) {
  return !runProtected([](void* argument) { (*static_cast<void (**)()>(argument))(); }, &body);
}

// How far apart two new blocks of `size` bytes lie: the size of their class.
ptrdiff_t blockDistance(uint32_t size) {
  Byte* const first = static_cast<Byte*>(memAlloc(size));
  return static_cast<Byte*>(memAlloc(size)) - first;
}

TEST_F(Memory, BlocksComeInTheirClasses) {
  EXPECT_EQ(blockDistance(0), 16);
  EXPECT_EQ(blockDistance(12), 16);
  EXPECT_EQ(blockDistance(13), 24);
  EXPECT_EQ(blockDistance(61), 80);
  EXPECT_EQ(blockDistance(188), 192);
  EXPECT_EQ(blockDistance(189), 264);
  EXPECT_EQ(blockDistance(260), 264);
  EXPECT_EQ(blockDistance(261), 520);
  EXPECT_EQ(blockDistance(16384), 16392);
  EXPECT_EQ(blockDistance(16389), 32776);
}

TEST_F(Memory, FreedBlocksComeBackLastInFirstOut) {
  void* const a = memAlloc(40);
  void* const b = memAlloc(44);
  void* const other = memAlloc(45);
  memFree(a);
  memFree(b);
  memFree(other);
  memFree(nullptr);
  EXPECT_EQ(memAlloc(37), b);
  EXPECT_EQ(memAlloc(44), a);
  EXPECT_EQ(memAlloc(52), other);
}

// Blocks that overlap each other or their heads change each other's bytes.
TEST_F(Memory, BlocksKeepTheirBytes) {
  struct Block {
    Byte* bytes;
    uint32_t size;
    Byte fill;
  };
  std::vector<Block> blocks;
  uint32_t random = 1;
  for (int unit = 0; unit < 3; unit++) {
    for (int step = 0; step < 6000; step++) {
      random = random * 1664525 + 1013904223;
      const uint32_t size = step % 50 == 0 ? (random >> 8) % 600000 : (random >> 8) % 300;
      const Block block{static_cast<Byte*>(memAlloc(size)), size, Byte(random >> 16)};
      ASSERT_EQ(reinterpret_cast<uintptr_t>(block.bytes) % 8, 0U);
      std::memset(block.bytes, block.fill, size);
      blocks.push_back(block);
      if (random >> 30 == 0) continue;
      const size_t victim = (random >> 4) % blocks.size();
      const Block old = blocks[victim];
      for (uint32_t i = 0; i < old.size; i++) ASSERT_EQ(old.bytes[i], old.fill) << "of " << old.size;
      memFree(old.bytes);
      blocks[victim] = blocks.back();
      blocks.pop_back();
    }
    for (const Block& block : blocks)
      for (uint32_t i = 0; i < block.size; i++) ASSERT_EQ(block.bytes[i], block.fill);
    blocks.clear();
    memoryEndUnit();
  }
}

TEST_F(Memory, HopelessRequestsEndTheUnitAndTheNextOneWorks) {
  const std::vector<void (*)()> bodies = {[] { memAlloc(0xFFFFFFFF); },
                                          [] { memCopy("", size_t{1} << 32); },
                                          [] { allocateSAVEblob(0xFFFFFFFF); },
                                          [] { allocateSAVEblob(saveRegionSize); },
                                          [] { commitSAVEspace(SIZE_MAX); },
                                          [] { low_level_get(SIZE_MAX - 5); },
                                          [] { permAlloc(SIZE_MAX); },
                                          [] {
                                            for (;;) std::memset(carveSAVE(100000), 0xFF, 100000);
                                          },
                                          [] {
                                            for (;;) allocateSAVEblob(24);
                                          }};
  for (size_t i = 0; i < bodies.size(); i++) {
    EXPECT_TRUE(endsUnit(bodies[i])) << "body " << i;
    memoryEndUnit();
    resetCounters();
    Byte* const blob = static_cast<Byte*>(allocateSAVEblob(200000));
    for (size_t at = 0; at < 200000; at++) ASSERT_EQ(blob[at], 0) << "byte " << at << " after body " << i;
    // The next unit gets these bytes again, and must find them cleared.
    std::memset(blob, 0xFF, 200000);
    memoryEndUnit();
  }
}

TEST_F(Memory, RegionGivesDisjointPiecesAndNeverOffsetZero) {
  struct Piece {
    Byte* start;
    size_t size;
  };
  std::vector<Piece> pieces;
  const size_t unit = 4 * pageSize();
  for (size_t i = 0; i < 400; i++) {
    const size_t size = i % 7 == 0 ? unit + i * 50 : i * 3 + 1;
    Byte* const start = i % 3 == 0 ? carveSAVE(size) : static_cast<Byte*>(allocateSAVEblob(uint32_t(size)));
    ASSERT_EQ(reinterpret_cast<uintptr_t>(start) % 8, 0U);
    ASSERT_GT(start, saveBase);
    std::memset(start, int(i & 0x7F), size);
    pieces.push_back({start, size});
  }
  for (size_t i = 0; i < pieces.size(); i++)
    for (size_t at = 0; at < pieces[i].size; at++) ASSERT_EQ(pieces[i].start[at], i & 0x7F);
  EXPECT_LE(saveCursor, saveCommitEnd);
  Byte* const base = saveBase;
  memoryEndUnit();
  EXPECT_EQ(saveBase, base);
  EXPECT_LE(size_t(carveSAVE(8) - saveBase), unit);
}

TEST_F(Memory, ArenaIsClearedAgainAndGrows) {
  Arena arena;
  arenaInit(arena, 0x5000);
  arenaReset(arena);
  Byte* const first = static_cast<Byte*>(arenaAlloc(40, arena));
  std::memset(first, 0xFF, 40);
  EXPECT_NE(arenaAlloc(0, arena), nullptr);
  // More than a chunk holds, then enough for several.
  std::memset(arenaAlloc(0x9000, arena), 0xFF, 0x9000);
  for (int i = 0; i < 2000; i++) std::memset(arenaAlloc(40, arena), 0xFF, 40);
  EXPECT_NE(arena.head, arena.tail);
  for (int round = 0; round < 2; round++) {
    arenaReset(arena);
    EXPECT_EQ(arena.head, arena.tail);
    Byte* const again = static_cast<Byte*>(arenaAlloc(0x4F00, arena));
    EXPECT_EQ(again, first);
    for (int i = 0; i < 0x4F00; i++) ASSERT_EQ(again[i], 0);
    std::memset(again, 0xFF, 0x4F00);
  }
  arenaFree(arena);
  EXPECT_EQ(arena.head, nullptr);
  EXPECT_EQ(*static_cast<Byte*>(arenaAlloc(1, arena)), 0);
  arenaFree(arena);
}

TEST_F(Memory, PermanentBytesOutliveUnits) {
  std::vector<char*> copies;
  for (int i = 0; i < 3000; i++) {
    copies.push_back(permCopy("permanent", size_t(i % 10)));
    // Records are made in these bytes too, so they are aligned.
    ASSERT_EQ(reinterpret_cast<uintptr_t>(copies.back()) % 8, 0U);
  }
  std::memset(permAlloc(300000), 0xFF, 300000);
  memoryEndUnit();
  for (size_t i = 0; i < copies.size(); i++) ASSERT_EQ(copies[i], std::string("permanent", i % 10));
}

// Without this the sanitizer would see nothing of what goes wrong in our own allocators.
TEST_F(Memory, SanitizerSeesOurBlocks) {
  if (!poisonsMemory) GTEST_SKIP() << "only with the address sanitizer";
  volatile Byte* const block = static_cast<Byte*>(memAlloc(13));
  EXPECT_DEATH(block[13] = 1, "use-after-poison");
  memFree(const_cast<Byte*>(block));
  EXPECT_DEATH(block[0] = 1, "use-after-poison");
  volatile Byte* const permanent = static_cast<Byte*>(permAlloc(13));
  EXPECT_DEATH(permanent[13] = 1, "use-after-poison");
  EXPECT_DEATH(permanent[16] = 1, "use-after-poison");
  volatile Byte* const carved = carveSAVE(8);
  EXPECT_DEATH(carved[8] = 1, "use-after-poison");
  Arena arena;
  arenaInit(arena, 0x1000);
  volatile Byte* const node = static_cast<Byte*>(arenaAlloc(40, arena));
  EXPECT_DEATH(node[40] = 1, "use-after-poison");
  arenaReset(arena);
  EXPECT_DEATH(node[0] = 1, "use-after-poison");
  arenaFree(arena);
}

}  // namespace
