// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/compression/InputFilter.h"

#include <zlib.h>

#include <utility>

namespace platform {

class InputFilter::Inflater {
public:
    Inflater(std::size_t bufferSize, Fetch fetch)
        : m_bufferSize(bufferSize), m_fetch(std::move(fetch)) {}
    ~Inflater() { ::inflateEnd(&m_stream); }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    bool start() { return ::inflateInit2(&m_stream, -MAX_WBITS) == Z_OK; }

    Result<std::vector<std::byte>> read(std::size_t length) {
        std::vector<std::byte> bytes(length);
        m_stream.next_out = reinterpret_cast<Bytef*>(bytes.data());
        m_stream.avail_out = static_cast<uInt>(length);
        while (m_stream.avail_out > 0 && !m_atEnd)
            SL42_TRY_VOID(step());
        bytes.resize(length - m_stream.avail_out);
        return bytes;
    }

private:
    Result<void> step() {
        if (m_stream.avail_in == 0)
            fetch();
        const bool hadInput = m_stream.avail_in > 0;
        switch (::inflate(&m_stream, Z_NO_FLUSH)) {
        case Z_OK:
            return {};
        case Z_BUF_ERROR: // no progress, which more input may end
            return hadInput ? Result<void>() : Error{"the compressed text ends early"};
        case Z_STREAM_END:
            m_atEnd = true;
            if (m_stream.avail_in > 0 || fetch())
                return Error{"something follows the compressed text"};
            return {};
        default:
            return Error{"this is not compressed text"};
        }
    }

    bool fetch() {
        const auto bytes = m_fetch(m_bufferSize);
        // zlib only reads the input, but an older signature has no const.
        m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<std::byte*>(bytes.data()));
        m_stream.avail_in = static_cast<uInt>(bytes.size());
        return !bytes.empty();
    }

    z_stream m_stream{};
    std::size_t m_bufferSize;
    Fetch m_fetch;
    bool m_atEnd = false;
};

InputFilter::InputFilter(std::unique_ptr<Inflater> inflater) : m_inflater(std::move(inflater)) {}
InputFilter::InputFilter(InputFilter&&) noexcept = default;
InputFilter& InputFilter::operator=(InputFilter&&) noexcept = default;
InputFilter::~InputFilter() = default;

Result<InputFilter> InputFilter::inflating(std::size_t bufferSize, Fetch fetch) {
    auto inflater = std::make_unique<Inflater>(bufferSize, std::move(fetch));
    if (!inflater->start())
        return Error{"there is no memory to decompress with"};
    return InputFilter(std::move(inflater));
}

Result<std::vector<std::byte>> InputFilter::read(std::size_t length) {
    return m_inflater->read(length);
}

} // namespace platform
