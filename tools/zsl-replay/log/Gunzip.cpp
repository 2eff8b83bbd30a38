// gzip unpacked through zlib, with the zip-bomb check.

#include "log/Gunzip.h"

#include "outcome/Error.h"

namespace zsl::log {

using outcome::Error;

void checkExpansion(uint64_t expanded, uint64_t compressed, const std::string &what)
{
    if (expanded > kBombBytes && expanded / kBombRatio > compressed)
        throw Error(what + " expands to more than " + std::to_string(kBombRatio) + " times its compressed size (past " +
                    std::to_string(kBombBytes >> 20) + " MiB): not a log (a zip bomb?)");
}

Gunzip::Gunzip(ByteReader in, std::string what) : mIn(std::move(in)), mWhat(std::move(what))
{
    if (inflateInit2(&mZ, 16 + MAX_WBITS) != Z_OK)
        throw Error(mWhat + ": zlib cannot start");
}

long Gunzip::read(char *out, size_t size)
{
    mZ.next_out = reinterpret_cast<Bytef *>(out);
    mZ.avail_out = static_cast<uInt>(size);
    while (mZ.avail_out == size && !mDone) {
        if (mZ.avail_in == 0) {
            const long got = mIn(mBuffer, sizeof mBuffer);
            if (got < 0)
                return -1;
            if (got == 0) {
                if (!mBetweenMembers)
                    throw Error(mWhat + ": the gzip data is cut short");
                mDone = true;
                break;
            }
            mZ.next_in = reinterpret_cast<Bytef *>(mBuffer);
            mZ.avail_in = static_cast<uInt>(got);
            mCompressed += static_cast<uint64_t>(got);
        }
        mBetweenMembers = false;
        const int status = inflate(&mZ, Z_NO_FLUSH);
        if (status == Z_STREAM_END) {
            mBetweenMembers = true;
            inflateReset(&mZ);
        } else if (status != Z_OK && status != Z_BUF_ERROR) {
            throw Error(mWhat + ": damaged gzip data (" + (mZ.msg ? mZ.msg : "zlib error") + ")");
        }
    }
    const long produced = static_cast<long>(size - mZ.avail_out);
    mExpanded += static_cast<uint64_t>(produced);
    checkExpansion(mExpanded, mCompressed, mWhat);
    return produced;
}

} // namespace zsl::log
