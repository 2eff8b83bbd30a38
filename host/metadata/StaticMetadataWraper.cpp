// The per-camera static metadata store the host fills and selectors read.

#include <StaticMetadataWraper.h>

StaticMetadataWraper *StaticMetadataWraper::getInstance()
{
    static StaticMetadataWraper instance;
    return &instance;
}

std::shared_ptr<KoMetadata> StaticMetadataWraper::getStaticMetadata(uint32_t logicalId)
{
    std::lock_guard<std::mutex> guard(mLock);
    std::shared_ptr<KoMetadata> &metadata = mCameras[logicalId];
    if (!metadata)
        metadata = std::make_shared<KoMetadata>();
    return metadata;
}

void StaticMetadataWraper::setStaticMetadata(uint32_t logicalId, std::shared_ptr<KoMetadata> metadata)
{
    std::lock_guard<std::mutex> guard(mLock);
    if (metadata)
        mCameras[logicalId] = std::move(metadata);
    else
        mCameras.erase(logicalId);
}
