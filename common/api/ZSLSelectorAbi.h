#pragma once
/*
 * The binary layout of the records and of the selector base that a host and
 * a plug-in built apart must agree on, frozen as compile-time checks. Any
 * build that includes the API header checks them, so a change that would
 * break a host built against the old header fails the build instead of
 * shipping. The numbers are those of the 64-bit Android ABIs (arm64-v8a and
 * x86_64); the log formats print 64-bit time stamps with %ld, so a 32-bit
 * target is refused here too. The order of the virtual operations cannot be
 * checked at compile time; a test checks it.
 */

#include <ZSLSelectorBase.h>

#include <cstddef>

static_assert(sizeof(void *) == 8 && sizeof(long) == sizeof(int64_t),
              "the ZSL selector builds for 64-bit targets only: its log lines print int64_t with %ld");

namespace kohal::abi {

// The selector base's members as a derived selector lays them out; public
// here only so that their offsets can be named.
struct ZSLSelectorBaseMembers : ZSLSelectorBase {
    using ZSLSelectorBase::mName;
    using ZSLSelectorBase::mReservedFlag1;
    using ZSLSelectorBase::mReservedFlag2;
    using ZSLSelectorBase::mReservedFlag3;
    using ZSLSelectorBase::mReservedId;
    using ZSLSelectorBase::mSensorPolicyMask;
    using ZSLSelectorBase::mSupportPending;
};

#define ZSL_ABI_OFFSET(type, field, offset)                                                        \
    static_assert(offsetof(type, field) == (offset), #type "::" #field " moved: the host reads it at " #offset)
#define ZSL_ABI_SIZE(type, size) static_assert(sizeof(type) == (size), #type " changed size: the host expects " #size)

// Offsets of members of classes that are not standard-layout (the selector,
// records holding shared pointers) are well defined on the GCC and Clang ABIs
// this targets.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"

ZSL_ABI_OFFSET(MetaInfo, metadata, 0);
ZSL_ABI_OFFSET(MetaInfo, physicalMetadata, 16);
ZSL_ABI_OFFSET(MetaInfo, shutterTime, 40);
ZSL_ABI_OFFSET(MetaInfo, reserved, 48);
ZSL_ABI_SIZE(MetaInfo::reserved, 8); // padding would hide a shorter field
ZSL_ABI_SIZE(MetaInfo, 56);

ZSL_ABI_OFFSET(MetaFrame, header, 0);
ZSL_ABI_SIZE(MetaFrame::header, 16);
ZSL_ABI_OFFSET(MetaFrame, metaInfo, 16);
ZSL_ABI_SIZE(MetaFrame, 72);

ZSL_ABI_OFFSET(SensorModeFrame, header, 0);
ZSL_ABI_SIZE(SensorModeFrame::header, 28);
ZSL_ABI_OFFSET(SensorModeFrame, perframeSensorMode, 28);
ZSL_ABI_SIZE(SensorModeFrame, 32);

ZSL_ABI_OFFSET(ZSLFrameCheckInfo, checkFrameNum, 0);
ZSL_ABI_OFFSET(ZSLFrameCheckInfo, requestMeta, 8);
ZSL_ABI_OFFSET(ZSLFrameCheckInfo, fwkFrameNum, 24);
ZSL_ABI_OFFSET(ZSLFrameCheckInfo, hostReserved0, 28);
ZSL_ABI_OFFSET(ZSLFrameCheckInfo, logicalId, 32);
ZSL_ABI_OFFSET(ZSLFrameCheckInfo, hostReserved1, 36);
ZSL_ABI_OFFSET(ZSLFrameCheckInfo, reqtMasterId, 40);
ZSL_ABI_OFFSET(ZSLFrameCheckInfo, masterRoleId, 44);
ZSL_ABI_OFFSET(ZSLFrameCheckInfo, zslQueues, 48);
ZSL_ABI_OFFSET(ZSLFrameCheckInfo, hostReserved2, 72);
ZSL_ABI_OFFSET(ZSLFrameCheckInfo, AiHLFrameNum, 76);
ZSL_ABI_SIZE(ZSLFrameCheckInfo, 80);

ZSL_ABI_OFFSET(ZSLFrameSelectInfo, fwkFrameNum, 0);
ZSL_ABI_OFFSET(ZSLFrameSelectInfo, usedFrameNums, 8);
ZSL_ABI_OFFSET(ZSLFrameSelectInfo, hostReserved0, 32);
ZSL_ABI_OFFSET(ZSLFrameSelectInfo, zslQueues, 40);
ZSL_ABI_OFFSET(ZSLFrameSelectInfo, requestMetas, 64);
ZSL_ABI_SIZE(ZSLFrameSelectInfo, 88);

// Laid out as Android's camera_metadata_ro_entry_t.
ZSL_ABI_OFFSET(KoMetadataEntry, index, 0);
ZSL_ABI_OFFSET(KoMetadataEntry, tag, 8);
ZSL_ABI_OFFSET(KoMetadataEntry, type, 12);
ZSL_ABI_OFFSET(KoMetadataEntry, count, 16);
ZSL_ABI_OFFSET(KoMetadataEntry, data, 24);
ZSL_ABI_SIZE(KoMetadataEntry, 32);

// After the virtual-table pointer, in declaration order.
ZSL_ABI_OFFSET(ZSLSelectorBaseMembers, mName, 8);
ZSL_ABI_OFFSET(ZSLSelectorBaseMembers, mReservedId, 40);
ZSL_ABI_OFFSET(ZSLSelectorBaseMembers, mSupportPending, 44);
ZSL_ABI_OFFSET(ZSLSelectorBaseMembers, mReservedFlag1, 45);
ZSL_ABI_OFFSET(ZSLSelectorBaseMembers, mReservedFlag2, 46);
ZSL_ABI_OFFSET(ZSLSelectorBaseMembers, mReservedFlag3, 47);
ZSL_ABI_OFFSET(ZSLSelectorBaseMembers, mSensorPolicyMask, 48);
ZSL_ABI_SIZE(ZSLSelectorBase, 56);

#pragma GCC diagnostic pop
#undef ZSL_ABI_OFFSET
#undef ZSL_ABI_SIZE

} // namespace kohal::abi
