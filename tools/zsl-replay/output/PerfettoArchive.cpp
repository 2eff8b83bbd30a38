// The zip of traces and their manifest, made in memory with libzip.

#include "output/PerfettoArchive.h"

#include "outcome/Error.h"
#include "perfetto/TraceFile.h"

#include <nlohmann/json.hpp>
#include <zip.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>

namespace zsl::output {

using outcome::Error;

namespace {

constexpr const char *kMachine = "device"; // one device: every file shares its clocks

std::string zipError(zip_error_t *error)
{
    const std::string text = zip_error_strerror(error);
    zip_error_fini(error);
    return text;
}

// Each device trace's name in the archive: its own, told apart from the
// others' and from ours.
std::vector<std::string> memberNames(const std::vector<std::string> &paths)
{
    std::set<std::string> used{PerfettoArchive::kOursName, PerfettoArchive::kManifestName};
    std::vector<std::string> names;
    for (const std::string &path : paths) {
        const std::string base = std::filesystem::path(path).filename().string();
        std::string name = base;
        for (int n = 2; !used.insert(name).second; ++n)
            name = std::to_string(n) + "-" + base;
        names.push_back(name);
    }
    return names;
}

} // namespace

PerfettoArchive::PerfettoArchive(std::vector<std::string> deviceTraces) : mDeviceTraces(std::move(deviceTraces))
{
    for (const std::string &path : mDeviceTraces) {
        std::ifstream file(path, std::ios::binary);
        std::string head(4096, '\0');
        if (!file || (!file.read(head.data(), static_cast<std::streamsize>(head.size())) && !file.eof()))
            throw Error("--device-trace " + path + ": cannot read it: " + std::strerror(errno));
        head.resize(static_cast<size_t>(file.gcount()));
        if (!perfetto::looksLikeTrace(head))
            throw Error("--device-trace " + path + ": not a Perfetto trace (a protobuf trace file is wanted)");
    }
}

void PerfettoArchive::write(const std::string &ours, std::ostream &out) const
{
    // Keys in the order the format's documentation gives them; the manifest
    // is found by its first bytes, {"perfetto_manifest".
    using Json = nlohmann::ordered_json;
    Json files = Json::array();
    const std::vector<std::string> names = memberNames(mDeviceTraces);
    for (const std::string &name : names)
        files.push_back({{"path", name}, {"machine", {{"name", kMachine}}}});
    files.push_back({{"path", kOursName}, {"machine", {{"name", kMachine}}}});
    const std::string manifest =
        Json{{"perfetto_manifest", {{"version", 1}, {"trace_time", {{"clock", "BOOTTIME"}}}, {"files", files}}}}
            .dump() +
        "\n";

    zip_error_t error;
    zip_error_init(&error);
    zip_source_t *memory = zip_source_buffer_create(nullptr, 0, 0, &error);
    if (!memory)
        throw Error("cannot make the Perfetto archive: " + zipError(&error));
    std::unique_ptr<zip_source_t, void (*)(zip_source_t *)> buffer(memory, zip_source_free);
    zip_t *archive = zip_open_from_source(memory, ZIP_TRUNCATE, &error);
    if (!archive)
        throw Error("cannot make the Perfetto archive: " + zipError(&error));
    zip_source_keep(memory); // kept past zip_close, to be read back
    auto add = [&](const std::string &name, zip_source_t *source, const std::string &what) {
        if (!source || zip_file_add(archive, name.c_str(), source, ZIP_FL_ENC_UTF_8) < 0) {
            if (source)
                zip_source_free(source);
            const std::string text = std::string(zip_strerror(archive));
            zip_discard(archive);
            throw Error("cannot put " + what + " into the Perfetto archive: " + text);
        }
    };
    for (size_t i = 0; i < mDeviceTraces.size(); ++i)
        add(names[i], zip_source_file(archive, mDeviceTraces[i].c_str(), 0, -1), mDeviceTraces[i]);
    add(kOursName, zip_source_buffer(archive, ours.data(), ours.size(), 0), "our trace");
    add(kManifestName, zip_source_buffer(archive, manifest.data(), manifest.size(), 0), "the manifest");
    if (zip_close(archive) < 0) {
        const std::string text = zip_strerror(archive);
        zip_discard(archive);
        throw Error("cannot make the Perfetto archive: " + text);
    }

    zip_stat_t stat;
    if (zip_source_stat(memory, &stat) < 0 || zip_source_open(memory) < 0)
        throw Error("cannot read back the Perfetto archive: " +
                    std::string(zip_error_strerror(zip_source_error(memory))));
    std::string bytes(static_cast<size_t>(stat.size), '\0');
    const zip_int64_t got = zip_source_read(memory, bytes.data(), bytes.size());
    zip_source_close(memory);
    if (got != static_cast<zip_int64_t>(bytes.size()))
        throw Error("cannot read back the Perfetto archive");
    out << bytes;
}

} // namespace zsl::output
