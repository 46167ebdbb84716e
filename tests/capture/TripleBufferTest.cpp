#include "capture/TpTripleBuffer.h"
#include "model/FpImage.h"
#include "tests/common/TestFailure.h"

#include <atomic>
#include <boost/thread/thread.hpp>
#include <chrono>
#include <cstring>
#include <future>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <thread>

namespace {

struct StItem
{
  uint64_t nSeq = 0;
  uint32_t aPayload[64] = {};

  void Write(uint64_t n)
  {
    nSeq = n;
    for (uint32_t& v : aPayload)
      v = static_cast<uint32_t>(n * 2654435761u);
  }
  bool Intact() const
  {
    for (uint32_t v : aPayload)
      if (v != static_cast<uint32_t>(nSeq * 2654435761u))
        return false;
    return true;
  }
};

double Seconds(std::chrono::steady_clock::time_point t0)
{
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

// A producer thread writes items 1, 2, ... (at least nItems, and on until the consumer has
// run alongside for nReads reads); a consumer thread reads them. Counts what went wrong:
// torn items, items older than one already published before LockRead, items not newer
// than the previous read; and whether the last read was the last item.
template <class T, class FWrite, class FRead>
void RunPair(ClTpTripleBuffer<T>& tb, uint64_t nItems, uint64_t nReads, FWrite write, FRead read)
{
  std::atomic<uint64_t> nPublished{0}, nDone{0};
  std::atomic<bool> bDone{false};
  const auto t0 = std::chrono::steady_clock::now();
  std::thread producer([&] {
    uint64_t n = 0;
    while (n < nItems || (nDone.load() < nReads && Seconds(t0) < 3)) {
      write(tb.LockWrite(), ++n);
      tb.UnlockWrite();
      nPublished.store(n);
    }
    bDone = true;
  });
  uint64_t nLast = 0, nTorn = 0, nStale = 0, nBackwards = 0;
  std::thread consumer([&] {
    for (;;) {
      const bool bFinished = bDone.load();
      if (!tb.HasNewData()) {
        if (bFinished)
          break;
        tb.Wait(1); // a lost notification costs one timeout at most
        continue;
      }
      const uint64_t nAtLeast = nPublished.load();
      uint64_t nSeq = 0;
      nTorn += !read(tb.LockRead(), nSeq);
      nStale += nSeq < nAtLeast;
      nBackwards += nSeq <= nLast;
      nLast = nSeq;
      // Now and then linger on the item while the producer runs on.
      if (nDone.fetch_add(1) % 64 == 0)
        std::this_thread::yield();
      tb.UnlockRead();
    }
  });
  producer.join();
  consumer.join();
  EXPECT_EQ(nTorn, 0u);
  EXPECT_EQ(nStale, 0u);
  EXPECT_EQ(nBackwards, 0u);
  EXPECT_EQ(nLast, nPublished.load());
  EXPECT_GE(nDone.load(), nReads);
}

} // namespace

TEST(TripleBuffer, HandsOutNewestAndRereadsWithoutWrite)
{
  StItem a, b, c;
  ClTpTripleBuffer<StItem> tb(&a, &b, &c);
  EXPECT_EQ(tb.LockRead(), &b); // fresh: buffer 1, unwritten
  tb.UnlockRead();

  tb.LockWrite()->Write(1);
  tb.UnlockWrite();
  tb.LockWrite()->Write(2);
  tb.UnlockWrite();
  EXPECT_TRUE(tb.HasNewData());
  StItem* r = tb.LockRead();
  EXPECT_EQ(r->nSeq, 2u);
  EXPECT_FALSE(tb.HasNewData());
  tb.UnlockRead();
  EXPECT_EQ(tb.LockRead(), r); // no write in between: the same item again
  EXPECT_FALSE(tb.HasNewData());
  tb.UnlockRead();
}

TEST(TripleBuffer, MisuseRaisesAndStateStaysUsable)
{
  StItem items[3];
  ClTpTripleBuffer<StItem> tb(&items[0], &items[1], &items[2]);
  StItem* r = tb.LockRead();
  EXPECT_CL_THROW(tb.LockRead(), -50, nullptr);
  EXPECT_CL_THROW(tb.SetBuffers(r, r, r), -50, nullptr);
  tb.UnlockRead();
  tb.LockWrite()->Write(7);
  EXPECT_CL_THROW(tb.LockWrite(), -50, nullptr);
  tb.UnlockWrite();
  EXPECT_EQ(tb.LockRead()->nSeq, 7u);
  tb.UnlockRead();
}

// Every interleaving of one reader and one writer: the reader always gets the last
// finished item and the two never hold the same buffer.
TEST(TripleBuffer, RandomInterleavingsKeepRolesApart)
{
  StItem items[3];
  ClTpTripleBuffer<StItem> tb(&items[0], &items[1], &items[2]);
  std::mt19937 rng(99);
  StItem* pRead = nullptr;
  StItem* pWrite = nullptr;
  uint64_t nPublished = 0;
  uint64_t nNext = 0;
  bool abUsed[3] = {};
  for (int step = 0; step < 20000; ++step) {
    switch (rng() % 4) {
    case 0:
      if (!pRead) {
        pRead = tb.LockRead();
        ASSERT_NE(pRead, pWrite);
        ASSERT_EQ(pRead->nSeq, nPublished);
      }
      break;
    case 1:
      if (pRead) {
        tb.UnlockRead();
        pRead = nullptr;
      }
      break;
    case 2:
      if (!pWrite) {
        pWrite = tb.LockWrite();
        ASSERT_NE(pWrite, pRead);
        abUsed[pWrite - items] = true;
        pWrite->Write(++nNext);
      }
      break;
    default:
      if (pWrite) {
        tb.UnlockWrite();
        nPublished = pWrite->nSeq;
        pWrite = nullptr;
      }
      break;
    }
  }
  EXPECT_TRUE(abUsed[0] && abUsed[1] && abUsed[2]);
}

TEST(TripleBuffer, WaitWakeAndInterruption)
{
  StItem items[3];
  ClTpTripleBuffer<StItem> tb(&items[0], &items[1], &items[2]);
  tb.LockWrite();
  tb.UnlockWrite();
  auto t0 = std::chrono::steady_clock::now();
  EXPECT_TRUE(tb.Wait(3)); // pending data: at once
  EXPECT_LT(Seconds(t0), 0.5);

  tb.LockRead();
  tb.UnlockRead();
  t0 = std::chrono::steady_clock::now();
  EXPECT_FALSE(tb.Wait(1)); // nothing comes: the whole second
  EXPECT_GE(Seconds(t0), 0.9);

  // A Wake that falls before the waiter is waiting is lost, so shutdown wakes until the
  // waiter is out, as the engine does.
  std::atomic<bool> bOut{false};
  bool bResult = false;
  t0 = std::chrono::steady_clock::now();
  std::thread waiter([&] {
    bResult = tb.Wait(5);
    bOut = true;
  });
  while (!bOut && Seconds(t0) < 5) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    tb.Wake();
  }
  waiter.join();
  EXPECT_TRUE(bResult);
  EXPECT_LT(Seconds(t0), 3.0);
  EXPECT_FALSE(tb.HasNewData());

  bool bInterrupted = false;
  t0 = std::chrono::steady_clock::now();
  boost::thread worker([&] {
    try {
      tb.Wait(5);
    } catch (const boost::thread_interrupted&) {
      bInterrupted = true;
    }
  });
  worker.interrupt();
  worker.join();
  EXPECT_TRUE(bInterrupted);
  EXPECT_LT(Seconds(t0), 3.0);
}

TEST(TripleBuffer, NeitherSideWaitsForTheOther)
{
  StItem items[3];
  ClTpTripleBuffer<StItem> tb(&items[0], &items[1], &items[2]);
  tb.LockWrite()->Write(1);
  tb.UnlockWrite();

  // The reader holds its buffer while another thread finishes a thousand writes.
  StItem* r = tb.LockRead();
  auto burst = std::async(std::launch::async, [&] {
    for (uint64_t n = 2; n <= 1001; ++n) {
      tb.LockWrite()->Write(n);
      tb.UnlockWrite();
    }
  });
  ASSERT_EQ(burst.wait_for(std::chrono::seconds(5)), std::future_status::ready);
  EXPECT_EQ(r->nSeq, 1u);
  EXPECT_TRUE(r->Intact());
  tb.UnlockRead();

  // The writer holds its buffer while another thread reads the newest item many times.
  StItem* w = tb.LockWrite();
  auto reads = std::async(std::launch::async, [&] {
    uint64_t n = 0;
    for (int i = 0; i < 1000; ++i) {
      n = tb.LockRead()->nSeq;
      tb.UnlockRead();
    }
    return n;
  });
  ASSERT_EQ(reads.wait_for(std::chrono::seconds(5)), std::future_status::ready);
  EXPECT_EQ(reads.get(), 1001u);
  w->Write(1002);
  tb.UnlockWrite();
}

TEST(TripleBuffer, ProducerAndConsumerThreads)
{
  StItem items[3];
  ClTpTripleBuffer<StItem> tb(&items[0], &items[1], &items[2]);
  RunPair(
      tb, 20000, 500, [](StItem* p, uint64_t n) { p->Write(n); },
      [](const StItem* p, uint64_t& nSeq) {
        nSeq = p->nSeq;
        return p->Intact();
      });
}

TEST(TripleBuffer, ImagesBetweenThreads)
{
  ClImage images[3];
  ClTpTripleBuffer<ClImage> tb(&images[0], &images[1], &images[2]);
  RunPair(
      tb, 3000, 200,
      [](ClImage* p, uint64_t n) {
        p->Create(eUInt8, 64, 16); // same size every frame: the buffer is kept
        p->Fill(static_cast<unsigned char>(n % 251 + 1));
        p->SetImageTag(static_cast<uint32_t>(n));
      },
      [](const ClImage* p, uint64_t& nSeq) {
        nSeq = p->ImageTag();
        for (int32_t i = 0; i < p->LineBytes() * p->Height(); ++i)
          if (p->Data()[i] != nSeq % 251 + 1)
            return false;
        return true;
      });
}
