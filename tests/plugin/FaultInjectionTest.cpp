// A host queue that throws from each of its calls in turn, and an
// allocation that fails at each allocation in turn, for every operation:
// the exception reaches the host, every reference the selector took is
// released, and the next call answers as if nothing had happened.

#include <Logged.h>
#include <MetadataBuilder.h>
#include <MinimalSelector.h>
#include <QueueBuilder.h>
#include <StaticMetadataWraper.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

// Allocations left before one fails; below 0, none fails. Every allocation
// of the process goes through the operator new below, the plug-in's too.
std::atomic<long> gAllocationsLeft{-1};

} // namespace

void *operator new(std::size_t size)
{
    if (gAllocationsLeft.load(std::memory_order_relaxed) >= 0 && gAllocationsLeft.fetch_sub(1) == 0)
        throw std::bad_alloc();
    if (void *memory = std::malloc(size ? size : 1))
        return memory;
    throw std::bad_alloc();
}

// Freed as allocated, with free(), also under the sanitizers, which track
// how each block was allocated.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif
void operator delete(void *memory) noexcept
{
    std::free(memory);
}

void operator delete(void *memory, std::size_t) noexcept
{
    std::free(memory);
}
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

namespace {

using kohost::Meta;
namespace tag = kohost::tag;

struct Fault {
    const char *operation;
    bool allocation; // an allocation fails, else a host queue's call throws
};

class FaultInjection : public testing::TestWithParam<Fault> {};

TEST_P(FaultInjection, EveryPositionLeavesNoReferenceAndNoTrace)
{
    const std::string operation = GetParam().operation;
    const bool allocation = GetParam().allocation;
    kotest::LoggedPlugin plugin; // every line formatted: its arguments hold references too
    kotest::MinimalSelector base;
    // Camera 0 has a sensor policy, so that the interface's check asks the queues.
    StaticMetadataWraper::getInstance()->setStaticMetadata(0, Meta().set<int32_t>(tag::SensorPolicyMask, {0x10}));
    auto settled = Meta().settled().build();
    auto meta = kohost::metaQueue(0, {{10, 100, settled}, {11, std::nullopt}, {12, 300, settled}}, {{13, 400}});
    auto sensor = kohost::holdingQueue(1, kohal::ZSL_QUEUE_TYPE_SENSOR_MODE, "sensor", {10, 12});
    sensor->putSensorModeFrame(12, 2);
    auto request = Meta().i32(tag::AeExposureCompensation, 0).u8(tag::SuperResolution, 1).i32(tag::SensorMode, 2)
                       .i64(tag::AnchorTimeStamp, 150 - 60000000).i32(tag::MotionCaptureType, 1).build();
    kohal::ZSLFrameSelectInfo select;
    select.zslQueues = {meta, sensor};
    select.requestMetas = {request, request};
    kohal::ZSLFrameCheckInfo check;
    check.checkFrameNum = 12;
    check.requestMeta = request;
    check.zslQueues = select.zslQueues;
    auto call = [&]() -> std::string {
        if (operation == "selectZSLFrames")
            return kohal::vectorToString(plugin.selector().selectZSLFrames(select).at(1));
        auto verdict = operation == "checkFrame" ? plugin.selector().checkFrame(check) : base.checkDesiredSensorMode(check);
        return std::to_string(verdict.first) + std::to_string(verdict.second);
    };
    const std::string clean = call();
    auto counts = [&] { return std::vector<long>{meta.use_count(), sensor.use_count(), settled.use_count(), request.use_count()}; };
    const std::vector<long> before = counts();

    int position = 1;
    for (bool thrown = true; thrown; ++position) {
        auto countdown = std::make_shared<int>(position);
        if (allocation) {
            gAllocationsLeft = position - 1;
        } else {
            meta->failAtCall(countdown);
            sensor->failAtCall(countdown);
        }
        try {
            call();
            thrown = false;
        } catch (const kohost::HostQueueFault &) {
            EXPECT_FALSE(allocation);
        } catch (const std::bad_alloc &) {
            EXPECT_TRUE(allocation);
        }
        gAllocationsLeft = -1;
        EXPECT_EQ(counts(), before) << "fault at " << position;
        meta->failAtCall(nullptr);
        sensor->failAtCall(nullptr);
        EXPECT_EQ(call(), clean) << "after a fault at " << position;
    }
    EXPECT_GT(position, 3); // the operation made calls, each of which failed once
    StaticMetadataWraper::getInstance()->setStaticMetadata(0, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Operations, FaultInjection,
                         testing::Values(Fault{"selectZSLFrames", false}, Fault{"checkFrame", false},
                                         Fault{"baseSensorMode", false}, Fault{"selectZSLFrames", true},
                                         Fault{"checkFrame", true}, Fault{"baseSensorMode", true}),
                         [](const testing::TestParamInfo<Fault> &info) {
                             return std::string(info.param.operation) + (info.param.allocation ? "Allocation" : "QueueCall");
                         });

} // namespace
