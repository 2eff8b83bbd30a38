// Eight host threads on one selector while the host changes what its queues
// hold and flips the log gates, as a camera framework may; the thread
// sanitizer build runs it too. The queues switch between two states, also in
// the middle of a call, so every answer is checked against what either state
// (or a mix of them) allows.

#include <BootClock.h>
#include <LogRecorder.h>
#include <MetadataBuilder.h>
#include <PluginSession.h>

#include <kodebug/SystemLogSink.h>

#include <android/log.h>

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <thread>

namespace {

using kohost::Meta;
namespace tag = kohost::tag;

// A queue of two fixed states, switched by the host at any moment; each call
// answers from the state it finds. Records stay valid: both states live on.
class SwitchingQueue : public kohal::ZSLFrameQueue {
public:
    SwitchingQueue(uint32_t id, int type, const std::atomic<bool> &second) : mId(id), mType(type), mSecond(second) {}

    void hold(int state, std::vector<uint32_t> consumer, const std::map<uint32_t, kohal::MetaInfo> &records)
    {
        mConsumer[state] = std::move(consumer);
        for (const auto &[frame, info] : records) {
            mMeta[state][frame].metaInfo = info;
            mModes[state][frame].perframeSensorMode = 1;
        }
    }

    int getQueueType() override { return mType; }
    std::string getQueueName() override { return "queue" + std::to_string(mId); }
    uint32_t getQueueId() override { return mId; }
    const void *getMetaFrame(uint32_t frameNum) override
    {
        const int state = mSecond.load(std::memory_order_relaxed) ? 1 : 0;
        auto meta = mMeta[state].find(frameNum);
        if (meta == mMeta[state].end())
            return nullptr;
        return mType == kohal::ZSL_QUEUE_TYPE_META ? static_cast<const void *>(&meta->second)
                                                   : &mModes[state].at(frameNum);
    }
    std::vector<uint32_t> getFrameNumList(int listType) override
    {
        return listType == kohal::CONSUMER_LIST ? mConsumer[mSecond.load(std::memory_order_relaxed) ? 1 : 0]
                                                : std::vector<uint32_t>{};
    }

private:
    uint32_t mId;
    int mType;
    const std::atomic<bool> &mSecond;
    std::vector<uint32_t> mConsumer[2];
    std::map<uint32_t, kohal::MetaFrame> mMeta[2];
    std::map<uint32_t, kohal::SensorModeFrame> mModes[2];
};

TEST(Soak, EightThreadsQueuesSwitchingGatesFlipping)
{
    kohost::PluginSession plugin({{"ro.vendor.camera3.zsl.default", "100"}});
    // Both outputs formatted and dropped.
    auto receiver = kodebug::setSystemLogReceiver([](const kodebug::SystemLogRecord &) {});
    __android_log_set_logger([](const __android_logger_data *, const char *) {});
    kohost::PinnedBootTime clock(1'000'000'000);
    kohost::LogGates gates(7, 0, 0); // restored when the test ends
    std::atomic<bool> second{false};

    // State 0: frames 1 to 4, 2 the first shot after zsdTs (900 ms); state 1:
    // frames 3 to 6, 5 the first. Frame 3 is settled in both, 4 in neither.
    auto settled = Meta().settled().build();
    auto scanning = Meta().settled().u8(tag::AfState, 3).build();
    auto record = [](int64_t ms, std::shared_ptr<KoMetadata> meta) {
        return kohost::metaInfo(ms * 1'000'000, std::move(meta));
    };
    auto meta = std::make_shared<SwitchingQueue>(0, kohal::ZSL_QUEUE_TYPE_META, second);
    auto sensor = std::make_shared<SwitchingQueue>(1, kohal::ZSL_QUEUE_TYPE_SENSOR_MODE, second);
    for (auto *queue : {meta.get(), sensor.get()}) {
        queue->hold(0, {1, 2, 3, 4}, {{1, record(850, settled)}, {2, record(910, settled)}, {3, record(940, settled)},
                                      {4, record(970, scanning)}});
        queue->hold(1, {3, 4, 5, 6}, {{3, record(800, settled)}, {4, record(850, scanning)}, {5, record(910, settled)},
                                      {6, record(940, settled)}});
    }
    kohal::ZSLFrameSelectInfo select;
    select.zslQueues = {meta, sensor};
    select.requestMetas = {Meta().settled()};
    kohal::ZSLFrameCheckInfo check;
    check.zslQueues = select.zslQueues;
    check.requestMeta = Meta().settled().u8(tag::SuperResolution, 1).i32(tag::SensorMode, 1);

    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 4000; ++i) {
                // A selection ends with the list it read, whichever state or
                // mix of states the queues answered from: 2 3 4 or 5 6 from
                // one state, e.g. 4 or 3 4 5 6 from a mix; one list for both.
                const kohal::ZSLSelection selection = plugin.selector().selectZSLFrames(select);
                const auto &frames = selection.at(0);
                if (selection.size() != 2 || selection.at(1) != frames ||
                    !(frames.empty() || frames.back() == 4 || frames.back() == 6))
                    ++wrong;
                // Frame 3 passes in both states, frame 4 in neither.
                kohal::ZSLFrameCheckInfo own = check;
                own.checkFrameNum = 3 + static_cast<uint32_t>((t + i) % 2);
                const std::pair<bool, bool> expected = own.checkFrameNum == 3 ? std::make_pair(true, true)
                                                                               : std::make_pair(false, true);
                if (plugin.selector().checkFrame(own) != expected)
                    ++wrong;
            }
        });
    std::atomic<bool> done{false};
    std::thread host([&] {
        for (uint32_t i = 0; !done; ++i) {
            second.store(i & 1, std::memory_order_relaxed);
            kohost::setLogGates((i & 2) ? 0 : 7, (i & 4) ? 0x40 : 0, 1);
        }
    });
    for (auto &thread : threads)
        thread.join();
    done = true;
    host.join();
    kodebug::setSystemLogReceiver(std::move(receiver));
    __android_log_set_logger(__android_log_stderr_logger);
    EXPECT_EQ(wrong, 0);
}

} // namespace
