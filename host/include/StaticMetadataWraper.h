#pragma once
/*
 * StaticMetadataWraper: the process-wide store of each camera's static
 * (characteristics) metadata. It keeps its own reference to every camera's
 * metadata, so an entry read from it stays valid after the caller drops the
 * pointer. Safe to call from several threads.
 */

#include <KoMetadata.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

class StaticMetadataWraper {
public:
    static StaticMetadataWraper *getInstance();

    // Never null: an unknown camera gets an empty metadata object.
    std::shared_ptr<KoMetadata> getStaticMetadata(uint32_t logicalId);

    // Host side: install (or, with null, forget) a camera's static metadata.
    void setStaticMetadata(uint32_t logicalId, std::shared_ptr<KoMetadata> metadata);

private:
    StaticMetadataWraper() = default;

    std::mutex mLock;
    std::map<uint32_t, std::shared_ptr<KoMetadata>> mCameras;
};
