// Logs shaped like a phone's logcat for the reading benchmarks, every line
// rendered by liblog's formatter (threadtime): other apps' lines of 60 tags,
// 40 to 400 bytes (or, short as most of a real phone's are, 10 to 160), from
// 12 processes, with the plug-in's captures (those of
// examples/device.log, on two threads) over and over, a second apart. The
// same arguments give the same bytes.

#include "BenchLogs.h"

#include "log/LineParser.h"
#include "messages/PluginEvent.h"
#include "output/LogcatWriter.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace zsl::bench {

namespace {

const char *const kTags[] = {
    "ActivityManager", "ActivityTaskManager", "WindowManager", "InputDispatcher", "SurfaceFlinger", "Choreographer",
    "CameraService", "Camera3-Device", "Camera3-Stream", "CameraProvider", "CamX", "CHIUSECASE", "ExynosCamera",
    "AudioFlinger", "AudioPolicyManager", "BufferQueueProducer", "BLASTBufferQueue", "OpenGLRenderer", "libEGL",
    "PackageManager", "ConnectivityService", "WifiService", "wpa_supplicant", "NetworkMonitor", "DnsResolver",
    "BluetoothAdapter", "bt_stack", "GnssHAL", "LocationManagerService", "SensorService", "PowerManagerService",
    "BatteryService", "healthd", "thermal-hal", "vold", "StorageManagerService", "MediaProvider", "MediaCodec",
    "CCodec", "ACodec", "OMXNodeInstance", "NuPlayer", "ExoPlayerImpl", "Gralloc4", "HWComposer", "hwcomposer",
    "chatty", "libc", "DEBUG", "AndroidRuntime", "System.err", "dalvikvm", "art", "zygote64", "Finsky",
    "GmsClient", "Volley", "OkHttp", "JobScheduler", "AlarmManager", "NotificationService", "KeyguardViewMediator",
    "Telephony", "RILJ"};
const char *const kWords[] = {"frame",    "buffer", "request", "result",  "stream", "session", "surface", "config",
                              "timeout",  "ms",     "queue",   "dequeue", "format", "usage",   "width",   "height",
                              "state",    "id",     "handle",  "fence",   "slot",   "layer",   "vsync",   "pid",
                              "package",  "intent", "binder",  "called",  "failed", "ok",      "start",   "stop"};
const char kLevels[] = "VDDDDIIIIIWE";

// The plug-in's lines of the sample log: 4 captures on two threads; at info
// level, without its debug lines.
std::vector<kohost::LogLine> sampleCaptures(Level level, const char *path = ZSL_SAMPLE_LOG)
{
    std::vector<kohost::LogLine> lines;
    std::FILE *sample = std::fopen(path, "r");
    if (!sample) {
        std::fprintf(stderr, "cannot read %s\n", path);
        std::exit(2);
    }
    zsl::log::readDeviceLog(
        sample,
        [&](kohost::LogLine line, uint64_t) {
            if (level == Level::Debug || line.level != "D")
                lines.push_back(std::move(line));
        },
        [](const std::string &) {});
    std::fclose(sample);
    return lines;
}

class Writer {
public:
    explicit Writer(std::FILE *out, Lines lines = Lines::Long)
        : mOut(out), mShortest(lines == Lines::Short ? 10 : 40), mLongest(lines == Lines::Short ? 160 : 400)
    {
    }
    void plugin(kohost::LogLine line, int64_t round)
    {
        line.timeNs = mTimeNs;
        line.pid = 1187;
        line.tid += static_cast<int>(round % 2) * 10; // other threads now and then
        emit(zsl::output::logcatLine(line));
    }
    void other()
    {
        kohost::LogLine line;
        const size_t process = mRandom() % 12;
        line.pid = 900 + static_cast<int>(process) * 311;
        line.tid = line.pid + static_cast<int>(mRandom() % 6);
        line.level = std::string(1, kLevels[mRandom() % (sizeof kLevels - 1)]);
        line.timeNs = mTimeNs;
        const std::string tag = kTags[(process * 7 + mRandom() % 9) % (sizeof kTags / sizeof *kTags)];
        // Message lengths spread over their range, most of them short.
        const size_t length = mShortest + static_cast<size_t>(static_cast<double>(mLongest - mShortest) *
                                                              std::pow(std::uniform_real_distribution<>(0, 1)(mRandom), 2));
        std::string message;
        while (message.size() < length)
            message += std::string(kWords[mRandom() % (sizeof kWords / sizeof *kWords)]) +
                       ((mRandom() % 3) ? " " : "=" + std::to_string(mRandom() % 100000) + " ");
        message.resize(length);
        emit(zsl::output::logcatEntry(tag, line, message));
    }
    uint64_t bytes() const { return mBytes; }
    void tick(int64_t ns) { mTimeNs += ns; }

private:
    void emit(const std::string &text)
    {
        std::fwrite(text.data(), 1, text.size(), mOut);
        std::fputc('\n', mOut);
        mBytes += text.size() + 1;
        mTimeNs += 700000;
    }
    std::FILE *mOut;
    size_t mShortest, mLongest; // other apps' messages, in bytes
    std::mt19937_64 mRandom{20261124};
    int64_t mTimeNs = 1795400000000000000; // 2026-11-23, UTC
    uint64_t mBytes = 0;
};

} // namespace

void writePluginLog(std::FILE *out, long captures, Level level, const char *sample)
{
    const std::vector<kohost::LogLine> unit = sample ? sampleCaptures(level, sample) : sampleCaptures(level);
    // Its captures: the selections it starts.
    const auto perUnit = std::count_if(unit.begin(), unit.end(), [](const kohost::LogLine &line) {
        const auto event = messages::PluginEvent::decode(line);
        return event && event->kind() == messages::MessageKind::SelectStart;
    });
    if (perUnit == 0) {
        std::fprintf(stderr, "no capture of the plug-in in %s\n", sample ? sample : ZSL_SAMPLE_LOG);
        std::exit(2);
    }
    Writer writer(out);
    for (int64_t round = 0; round * perUnit < captures; ++round, writer.tick(1000000000))
        for (const kohost::LogLine &line : unit)
            writer.plugin(line, round);
}

void writeMixedLog(std::FILE *out, double percent, uint64_t bytes, Level level, Lines lines)
{
    const std::vector<kohost::LogLine> unit = sampleCaptures(level);
    Writer writer(out, lines);
    // Each unit of captures comes with its share of other lines: a third
    // among its own (other processes keep logging), the rest after it.
    const double others = static_cast<double>(unit.size()) * (100.0 - percent) / percent;
    const size_t among = static_cast<size_t>(others / 3);
    const size_t after = static_cast<size_t>(others) - among;
    for (int64_t round = 0; writer.bytes() < bytes; ++round) {
        for (size_t i = 0; i < unit.size(); ++i) {
            writer.plugin(unit[i], round);
            for (size_t k = i * among / unit.size(); k < (i + 1) * among / unit.size(); ++k)
                writer.other();
        }
        for (size_t i = 0; i < after && writer.bytes() < bytes; ++i)
            writer.other();
    }
}

} // namespace zsl::bench
