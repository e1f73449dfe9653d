// The background image thread of a session on a target: started by a grab
// set-up that asks for flattened or shown images, answering grabs from the
// newest image it flattened, ending at its first failure with that status,
// and stopped before or after the commands that reconfigure the session.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "foundation/lent_block.h"
#include "image/cfg_image.h"
#include "keldcfgc/keldcfgc_server.h"
#include "local/keld/local_keld_config_session.h"
#include "odvissvc/odvissvc.h"
#include "attributes/wire.h"
#include "session/session_factory.h"

namespace keld {
namespace {

using testing::Wire;

// A frame-grabber session whose grabs paint a numbered image and can be
// told to fail from a given grab on.
class Grabber : public LocalKELDConfigSession {
 public:
  Grabber() : LocalKELDConfigSession("grabber", &constructed_) {}
  ~Grabber() override { StopImageThread(); }

  Status SetupGrab(std::uint32_t) override { return kSuccess; }
  Status GrabImage(std::uint32_t* number, Image* image) override {
    const int n = ++grabs;
    if (n == 1) std::this_thread::sleep_for(std::chrono::milliseconds(firstGrabMs.load()));
    if (n > 1) std::this_thread::sleep_for(std::chrono::milliseconds(everyGrabMs.load()));
    // Held here until the test lets go (at most five seconds).
    for (int waited = 0; n == holdAt && !release && waited < 5000; ++waited) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (failFrom != 0 && n >= failFrom) return 0xBFF60077;
    *number = static_cast<std::uint32_t>(n);
    if (ResizeAndCastImage(image, 4, 2, 0) != 0) return kInternalError;
    return FillTestPattern(image, static_cast<std::uint32_t>(n), 0, 0) == 0 ? kSuccess : kInternalError;
  }
  // A snap writes the session's image as a grab does.
  Status SnapImage(std::uint32_t, Image* image) override {
    ++snaps;
    if (ResizeAndCastImage(image, 4, 2, 0) != 0) return kInternalError;
    return FillTestPattern(image, 1000u + static_cast<std::uint32_t>(snaps.load()), 0, 0) == 0 ? kSuccess
                                                                                              : kInternalError;
  }
  Status StartAcquisition() override {
    startedWithThread = ImageThreadExists();
    return kSuccess;
  }
  Status StopAcquisition() override {
    stoppedWithThread = ImageThreadExists();
    return kSuccess;
  }
  Status UnconfigureAcquisition() override { return 0xBFF60099; }

  std::atomic<int> grabs{0};
  std::atomic<int> failFrom{0};
  std::atomic<int> firstGrabMs{0};
  std::atomic<int> everyGrabMs{0};
  std::atomic<int> holdAt{0};
  std::atomic<bool> release{false};
  std::atomic<int> snaps{0};
  std::atomic<bool> startedWithThread{true};
  std::atomic<bool> stoppedWithThread{false};

 private:
  Status constructed_ = kSuccess;
};

struct Reply {
  Status status;
  std::uint32_t number = 0;
  std::uint32_t size = 0;
};

Reply Command(Grabber& session, std::uint32_t command, const Wire& input) {
  ScopedByteStream in;
  ScopedByteStream out;
  input.Into(in.get());
  Reply reply{session.ExecuteCommand(command, in.get(), out.get())};
  out->Rewind();
  if (out->size >= 4) {
    EXPECT_EQ(out->ReadU32(&reply.number), kSuccess);
  }
  reply.size = out->size;
  return reply;
}

void WaitForGrabs(Grabber& session, int grabs) {
  for (int i = 0; i < 2000 && session.grabs < grabs; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

TEST(ImageThread, StartsOnlyWhereImagesAreFlattenedOrShown) {
  Grabber session;
  EXPECT_EQ(Command(session, 11, Wire().U32(4)).status, kSuccess);
  EXPECT_FALSE(session.ImageThreadExists());
  // Bit 2 without a thread: a grab answers the buffer number alone.
  const Reply alone = Command(session, 12, Wire());
  EXPECT_EQ(alone.status, kSuccess);
  EXPECT_EQ(alone.size, 4u);
  EXPECT_EQ(session.grabs.load(), 0);
  EXPECT_EQ(Command(session, 11, Wire().U32(1)).status, kSuccess);
  EXPECT_TRUE(session.ImageThreadExists());
}

TEST(ImageThread, GrabsAnswerWithTheNewestFlattenedImage) {
  Grabber session;
  ASSERT_EQ(Command(session, 11, Wire().U32(1)).status, kSuccess);
  WaitForGrabs(session, 3);
  const Reply reply = Command(session, 12, Wire());
  EXPECT_EQ(reply.status, kSuccess);
  EXPECT_GT(reply.size, 4u);  // the number, then the image
  EXPECT_GE(reply.number, 1u);
  // The client's grab took no acquisition of its own: the thread grabs on.
  const int before = session.grabs;
  WaitForGrabs(session, before + 2);
  EXPECT_GE(session.grabs.load(), before + 2);
}

// A successful grab always carries an image: one that comes before the
// thread's first round has ended waits for it.
TEST(ImageThread, AGrabRightAfterTheSetUpWaitsForTheFirstImage) {
  Grabber session;
  session.firstGrabMs = 100;
  ASSERT_EQ(Command(session, 11, Wire().U32(1)).status, kSuccess);
  const Reply reply = Command(session, 12, Wire());
  EXPECT_EQ(reply.status, kSuccess);
  EXPECT_GT(reply.size, 4u);  // the number, then the image
  EXPECT_EQ(reply.number, 1u);
}

// A client faster than the camera gets each image once: a grab that finds
// no image it has not had waits for the next.
TEST(ImageThread, AFasterClientGetsEachImageOnce) {
  Grabber session;
  session.everyGrabMs = 5;
  ASSERT_EQ(Command(session, 11, Wire().U32(1)).status, kSuccess);
  std::uint32_t previous = 0;
  for (int i = 0; i < 10; ++i) {
    const Reply reply = Command(session, 12, Wire());
    ASSERT_EQ(reply.status, kSuccess);
    EXPECT_GT(reply.size, 4u);
    EXPECT_GT(reply.number, previous) << "grab " << i;
    previous = reply.number;
  }
}

// A snap while the thread grabs uses the session's image between the
// thread's rounds, not during one (ThreadSanitizer sees it otherwise), and
// the thread grabs on after it.
TEST(ImageThread, SnapsWhileTheThreadGrabs) {
  Grabber session;
  ASSERT_EQ(Command(session, 11, Wire().U32(1)).status, kSuccess);
  WaitForGrabs(session, 3);
  for (int i = 0; i < 50; ++i) {
    const Reply snap = Command(session, 10, Wire().U32(1));
    ASSERT_EQ(snap.status, kSuccess);
    EXPECT_GT(snap.size, 0u);
  }
  EXPECT_EQ(session.snaps.load(), 50);
  const int before = session.grabs;
  WaitForGrabs(session, before + 2);
  EXPECT_GE(session.grabs.load(), before + 2);
  const Reply grab = Command(session, 12, Wire());
  EXPECT_EQ(grab.status, kSuccess);
}

// A set-up that asks for shown images only answers grabs with the number alone.
TEST(ImageThread, ShownOnlyGrabsDoNotWaitForAnImage) {
  Grabber session;
  session.firstGrabMs = 100;
  ASSERT_EQ(Command(session, 11, Wire().U32(2)).status, kSuccess);
  const Reply reply = Command(session, 12, Wire());
  EXPECT_EQ(reply.status, kSuccess);
  EXPECT_EQ(reply.size, 4u);
}

TEST(ImageThread, AFailingRoundEndsTheThreadAndGrabsAnswerItsStatus) {
  Grabber session;
  session.failFrom = 4;
  ASSERT_EQ(Command(session, 11, Wire().U32(1)).status, kSuccess);
  WaitForGrabs(session, 4);
  // The thread has ended at its failure; its controller stays until a stop.
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  const int ended = session.grabs;
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(session.grabs.load(), ended);
  for (int i = 0; i < 2; ++i) {
    const Reply reply = Command(session, 12, Wire());
    EXPECT_EQ(reply.status, 0xBFF60077u);
    EXPECT_EQ(reply.number, 3u);   // the last good grab's number
    EXPECT_GT(reply.size, 4u);     // and its image
  }
  EXPECT_TRUE(session.ImageThreadExists());
}

TEST(ImageThread, StopFirstAndStopAfterCommands) {
  Grabber session;
  ASSERT_EQ(Command(session, 11, Wire().U32(1)).status, kSuccess);
  EXPECT_EQ(Command(session, 14, Wire()).status, kSuccess);
  EXPECT_FALSE(session.startedWithThread.load());  // 14 stops the thread first
  ASSERT_EQ(Command(session, 11, Wire().U32(1)).status, kSuccess);
  EXPECT_EQ(Command(session, 16, Wire()).status, kSuccess);
  EXPECT_TRUE(session.stoppedWithThread.load());  // 16 runs the stop, then ends the thread
  EXPECT_FALSE(session.ImageThreadExists());
  ASSERT_EQ(Command(session, 11, Wire().U32(1)).status, kSuccess);
  // 17 answers the operation's status, not the thread's.
  EXPECT_EQ(Command(session, 17, Wire()).status, 0xBFF60099u);
  EXPECT_FALSE(session.ImageThreadExists());
  // A stopping command with no thread changes nothing and runs on.
  EXPECT_EQ(Command(session, 16, Wire()).status, kSuccess);
}

TEST(ImageThread, GrabsFromTwoConnectionsWhileAThirdStops) {
  Grabber session;
  ASSERT_EQ(Command(session, 11, Wire().U32(1 | 8)).status, kSuccess);
  std::atomic<bool> done{false};
  std::thread images([&] {
    while (!done) {
      const Reply reply = Command(session, 12, Wire());
      EXPECT_TRUE(reply.status == kSuccess) << reply.status;
    }
  });
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(Command(session, 16, Wire()).status, kSuccess);
    EXPECT_EQ(Command(session, 11, Wire().U32(1 | 8)).status, kSuccess);
  }
  done = true;
  images.join();
}

// A grab as the RPC server serves it: the reply is sent, then given back.
struct Served {
  Status status = kSuccess;
  std::uint32_t number = 0;
  std::vector<std::uint8_t> image;  // the flattened image after the number
  bool lent = false;                // the block went back to the session
};

Served GrabAsServed(Grabber& session) {
  const LoanReturns returns;  // as the RPC server's threads do
  ByteStream input;
  ByteStream output;
  Served served;
  served.status = session.ExecuteCommand(12, &input, &output);
  if (output.size >= 4) {
    std::memcpy(&served.number, output.data, 4);
    served.image.assign(output.data + 4, output.data + output.size);
  }
  ReturnLentOutput(&output);
  served.lent = output.data == nullptr && !served.image.empty();
  output.Reset();
  return served;
}

// The image a grab answered with is the test pattern of its number.
void ExpectPatternOf(const Served& served) {
  ByteStream stream;
  ASSERT_EQ(stream.AppendBytes(served.image.data(), served.image.size()), kSuccess);
  stream.Rewind();
  Image* expected = nullptr;
  ASSERT_EQ(NewImage(&expected, ODV_U8, 4, 2, 0), 0);
  ASSERT_EQ(FillTestPattern(expected, served.number, 0, 0), 0);
  CfgImage received;
  ASSERT_EQ(received.EnsureImage(), kSuccess);
  EXPECT_EQ(received.Unflatten(&stream, false), kSuccess);
  ASSERT_EQ(received.GetWidth(), 4u);
  ASSERT_EQ(received.GetHeight(), 2u);
  CfgImage want;
  want.Attach(expected);
  for (std::uint32_t y = 0; y < 2; ++y) {
    const auto* got = static_cast<const std::uint8_t*>(received.GetFirstPixel()) + y * received.GetLineWidth();
    const auto* line = static_cast<const std::uint8_t*>(want.GetFirstPixel()) + y * want.GetLineWidth();
    EXPECT_EQ(std::memcmp(got, line, 4), 0) << "line " << y << " of image " << served.number;
  }
  want.Attach(nullptr);
  DisposeImage(expected);
  stream.Reset();
}

// A fresh image goes out as the thread's own block, lent to the reply and
// given back once sent; each carries the number of its image.
TEST(ImageThread, AGrabsReplyIsTheThreadsBlockLentAndGivenBack) {
  Grabber session;
  session.everyGrabMs = 2;
  ASSERT_EQ(Command(session, 11, Wire().U32(1)).status, kSuccess);
  std::uint32_t previous = 0;
  for (int i = 0; i < 8; ++i) {
    const Served served = GrabAsServed(session);
    ASSERT_EQ(served.status, kSuccess);
    EXPECT_TRUE(served.lent) << "grab " << i;
    EXPECT_GT(served.number, previous);
    previous = served.number;
    ExpectPatternOf(served);
  }
}

// A failure after a grab took the last image (and gave its block back):
// grabs answer the failure with that image, again and again.
TEST(ImageThread, AFailureAfterAGrabTookTheLastImageAnswersWithIt) {
  Grabber session;
  session.failFrom = 3;
  session.holdAt = 3;
  ASSERT_EQ(Command(session, 11, Wire().U32(1)).status, kSuccess);
  Served last;
  for (int i = 0; i < 10 && last.number < 2; ++i) {
    last = GrabAsServed(session);
    ASSERT_EQ(last.status, kSuccess);
  }
  ASSERT_EQ(last.number, 2u);
  EXPECT_TRUE(last.lent);
  session.release = true;
  WaitForGrabs(session, 3);
  for (int i = 0; i < 3; ++i) {
    const Served failed = GrabAsServed(session);
    EXPECT_EQ(failed.status, 0xBFF60077u);
    EXPECT_EQ(failed.number, 2u);
    EXPECT_EQ(failed.image, last.image) << "grab " << i;
    EXPECT_FALSE(failed.lent);  // every later grab answers with it too: a copy
  }
}

// A grab through the target's C entry, as its caller sees it.
Served GrabThroughTheCEntry(std::uint32_t id) {
  std::uint8_t* output = nullptr;
  std::uint32_t size = 0;
  Served served;
  served.status = static_cast<Status>(keldsrvExecuteCommand(id, 12, nullptr, 0, &output, &size));
  if (output != nullptr && size >= 4) {
    std::memcpy(&served.number, output, 4);
    served.image.assign(output + 4, output + size);
  }
  keldsrvFreeStream(output);  // the caller's to free
  return served;
}

// Through the target's C entry nothing is lent: the caller gets each reply
// to keep and free, and a grab after the thread's failure still answers
// with the last image.
TEST(ImageThread, TheCEntryGivesTheCallerACopyAndTheSessionKeepsTheLastImage) {
  static std::atomic<Grabber*> made{nullptr};
  testing::SetSessionBuilder([](std::uint32_t, const char*, const char*, Status*) -> DeviceConfigSession* {
    auto* session = new Grabber();
    session->failFrom = 3;
    session->holdAt = 3;
    made = session;
    return session;
  });
  std::uint32_t id = 0;
  ASSERT_EQ(keldsrvCreateSession(0, "client", "grabber", &id), 0);
  ASSERT_NE(made.load(), nullptr);
  const std::uint32_t flags = 1;
  std::uint8_t* output = nullptr;
  std::uint32_t size = 0;
  ASSERT_EQ(keldsrvExecuteCommand(id, 11, reinterpret_cast<const std::uint8_t*>(&flags), 4, &output, &size), 0);
  keldsrvFreeStream(output);
  Served last;
  for (int i = 0; i < 10 && last.number < 2; ++i) {
    last = GrabThroughTheCEntry(id);
    ASSERT_EQ(last.status, kSuccess);
    ExpectPatternOf(last);
  }
  ASSERT_EQ(last.number, 2u);
  made.load()->release = true;
  WaitForGrabs(*made.load(), 3);
  for (int i = 0; i < 2; ++i) {
    const Served failed = GrabThroughTheCEntry(id);
    EXPECT_EQ(failed.status, 0xBFF60077u);
    EXPECT_EQ(failed.number, 2u);
    EXPECT_EQ(failed.image, last.image) << "grab " << i;
  }
  EXPECT_EQ(keldsrvCloseSession(id), 0);
  testing::SetSessionBuilder(nullptr);
}

// Images of different widths, so that each image's bytes are its own.
class WideningGrabber : public Grabber {
 public:
  Status GrabImage(std::uint32_t* number, Image* image) override {
    const Status status = Grabber::GrabImage(number, image);
    if (status != kSuccess) return status;
    if (ResizeAndCastImage(image, 4 + *number, 2, 0) != 0) return kInternalError;
    return FillTestPattern(image, *number, 0, 0) == 0 ? kSuccess : kInternalError;
  }
};

// Two connections: the older image's reply is sent last; a grab after the
// thread's failure answers with the newest image given all the same.
TEST(ImageThread, AFailureAnswersWithTheNewestImageGivenWhateverComesBackLast) {
  WideningGrabber session;
  session.failFrom = 3;
  session.holdAt = 3;
  ASSERT_EQ(Command(session, 11, Wire().U32(1)).status, kSuccess);
  const LoanReturns returns;
  ByteStream input;
  ByteStream older;
  ASSERT_EQ(session.ExecuteCommand(12, &input, &older), kSuccess);  // image 1, lent
  Served newer;
  std::thread other([&] { newer = GrabAsServed(session); });  // image 2: lent, sent, given back
  other.join();
  ASSERT_TRUE(newer.lent);
  ASSERT_EQ(newer.number, 2u);
  ReturnLentOutput(&older);  // the older reply comes back last
  older.Reset();
  session.release = true;
  WaitForGrabs(session, 3);
  const Served failed = GrabAsServed(session);
  EXPECT_EQ(failed.status, 0xBFF60077u);
  EXPECT_EQ(failed.number, 2u);
  EXPECT_EQ(failed.image, newer.image);
}

// The newest image given is still being sent when the thread fails: a grab
// from another connection waits for it and answers with it.
TEST(ImageThread, AFailureWhileTheLastImageIsStillBeingSentWaitsForIt) {
  Grabber session;
  session.failFrom = 3;
  session.holdAt = 3;
  ASSERT_EQ(Command(session, 11, Wire().U32(1)).status, kSuccess);
  Served last;
  for (int i = 0; i < 10 && last.number < 1; ++i) last = GrabAsServed(session);
  ASSERT_EQ(last.number, 1u);
  std::vector<std::uint8_t> sending;
  std::atomic<bool> taken{false};
  std::atomic<bool> sent{false};
  std::thread sender([&] {
    const LoanReturns returns;
    ByteStream input;
    ByteStream output;
    EXPECT_EQ(session.ExecuteCommand(12, &input, &output), kSuccess);  // image 2, lent
    sending.assign(output.data + 4, output.data + output.size);
    taken = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));  // still sending
    sent = true;
    ReturnLentOutput(&output);
    output.Reset();
  });
  while (!taken) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  session.release = true;
  WaitForGrabs(session, 3);
  const Served failed = GrabAsServed(session);
  EXPECT_TRUE(sent.load());  // it waited for the block
  sender.join();
  EXPECT_EQ(failed.status, 0xBFF60077u);
  EXPECT_EQ(failed.number, 2u);
  EXPECT_EQ(failed.image, sending);
}

// A new start of the thread whose first round fails answers with no image
// of the run before, even one whose block comes back during the new run.
TEST(ImageThread, ANewRunAnswersWithNoImageOfTheRunBefore) {
  Grabber session;
  session.holdAt = 2;
  ASSERT_EQ(Command(session, 11, Wire().U32(1)).status, kSuccess);
  const LoanReturns returns;
  ByteStream input;
  ByteStream late;
  ASSERT_EQ(session.ExecuteCommand(12, &input, &late), kSuccess);  // image 1, lent, not back yet
  session.failFrom = 2;
  session.release = true;
  WaitForGrabs(session, 2);
  ASSERT_EQ(Command(session, 11, Wire().U32(1 | 8)).status, kSuccess);  // a new run, in the stream form
  ReturnLentOutput(&late);  // the old run's block comes back now
  late.Reset();
  WaitForGrabs(session, 3);
  const Served failed = GrabAsServed(session);
  EXPECT_EQ(failed.status, 0xBFF60077u);
  EXPECT_TRUE(failed.image.empty());
}

}  // namespace
}  // namespace keld
