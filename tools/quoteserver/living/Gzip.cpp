// Packed replies, unpacked here because clients of the web take a cut one for whole.
#include <algorithm>
#include <boost/beast/zlib/inflate_stream.hpp>
#include <boost/crc.hpp>
#include <stdexcept>

#include "living/Web.h"

namespace quoteserver::living {
namespace {

namespace zlib = boost::beast::zlib;

std::string_view Take(std::string_view& bytes, std::size_t count) {
    if (count > bytes.size()) {
        throw std::runtime_error("the reply breaks off");
    }
    const std::string_view taken = bytes.substr(0, count);
    bytes.remove_prefix(count);
    return taken;
}

std::uint32_t TakeNumber(std::string_view& bytes, std::size_t size) {
    std::uint32_t number = 0;
    const std::string_view taken = Take(bytes, size);
    for (std::size_t i = 0; i < size; ++i) {
        number |= std::uint32_t{static_cast<unsigned char>(taken[i])} << (8 * i);
    }
    return number;
}

void SkipHeader(std::string_view& bytes) {
    constexpr unsigned hasSum = 2, hasExtra = 4, hasName = 8, hasComment = 16;
    if (Take(bytes, 3) != "\x1f\x8b\x08") {
        throw std::runtime_error("what says that it is gzip is none");
    }
    const unsigned flags = TakeNumber(bytes, 1);
    Take(bytes, 6);
    if ((flags & hasExtra) != 0) {
        Take(bytes, TakeNumber(bytes, 2));
    }
    for (const unsigned text : {hasName, hasComment}) {
        if ((flags & text) != 0) {
            const std::size_t end = bytes.find('\0');
            Take(bytes, end == std::string_view::npos ? bytes.size() + 1 : end + 1);
        }
    }
    Take(bytes, (flags & hasSum) != 0 ? 2 : 0);
}

std::string Unpacked(std::string_view bytes) {
    SkipHeader(bytes);
    std::string text;
    zlib::inflate_stream stream;
    zlib::z_params z;
    z.next_in = bytes.data();
    z.avail_in = bytes.size();
    for (boost::system::error_code error; error != zlib::error::end_of_stream;) {
        if (z.total_out > mostBytes) {
            throw std::runtime_error("a reply of more than " + std::to_string(mostBytes) +
                                     " bytes");
        }
        text.resize(std::max<std::size_t>(2 * text.size(), 65536));
        z.next_out = text.data() + z.total_out;
        z.avail_out = text.size() - z.total_out;
        stream.write(z, zlib::Flush::sync, error);
        const bool isDone = error == zlib::error::end_of_stream;
        if (!isDone && (z.avail_out > 0 || (error && error != zlib::error::need_buffers))) {
            throw std::runtime_error("the reply breaks off");
        }
    }
    text.resize(z.total_out);
    bytes.remove_prefix(bytes.size() - z.avail_in);
    boost::crc_32_type sum;
    sum.process_bytes(text.data(), text.size());
    if (TakeNumber(bytes, 4) != sum.checksum() ||
        TakeNumber(bytes, 4) != static_cast<std::uint32_t>(text.size())) {
        throw std::runtime_error("the reply is damaged");
    }
    return text;
}

}  // namespace

void Unpack(WebAnswer& answer, const std::string& encoding) {
    if (encoding.empty() || encoding == "identity") {
        return;
    }
    try {
        if (encoding != "gzip" && encoding != "x-gzip") {
            throw std::runtime_error("it is packed in a way that was not asked for");
        }
        answer.body = Unpacked(answer.body);
    } catch (const std::runtime_error& error) {
        answer = {0, error.what()};
    }
}

}  // namespace quoteserver::living
