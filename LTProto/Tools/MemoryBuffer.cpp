#include "LTProto/Tools/MemoryBuffer.h"

#include "LTProto/Tools/Hex.h"
#include "LTProto/Tools/StringUtf8.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Tools
{
namespace
{

constexpr u32 INTEGER_LEN_MAX = 8;
constexpr u32 INTEGER32_LEN = 4;

std::unique_ptr<u8[]> NewArray(u32 len)
{
    return len == 0 ? nullptr : std::make_unique_for_overwrite<u8[]>(len);
}

// The printable characters of the "C" locale, whatever locale is set.
bool IsPrintable(u8 byte)
{
    return byte >= 0x20 && byte <= 0x7E;
}

bool IsText(u8 byte)
{
    return IsPrintable(byte) || byte == '\t' || byte == '\n';
}

// Bytes of `value` beyond its eighth are 0.
void PutLsbMsb(u64 value, u8 *bytes, u32 len)
{
    for (u32 i = 0; i < len; i++, value >>= 8)
        bytes[i] = static_cast<u8>(value);
}

void PutMsbLsb(u64 value, u8 *bytes, u32 len)
{
    for (u32 i = len; i > 0; i--, value >>= 8)
        bytes[i - 1] = static_cast<u8>(value);
}

} // namespace

int CompareBytes(const u8 *a, u32 lenA, const u8 *b, u32 lenB)
{
    if (lenA == 0 || lenB == 0)
        return (lenA != 0) - (lenB != 0);
    return std::memcmp(a, b, std::min(lenA, lenB));
}

MemoryBuffer::MemoryBuffer(MemoryBuffer &&o) noexcept : m_len(std::exchange(o.m_len, 0)), m_ptr(std::move(o.m_ptr)) {}

MemoryBuffer::MemoryBuffer(const char *str, u32 minlen, char filler)
{
    if (str != nullptr)
        Set(str, minlen, filler);
}

MemoryBuffer &MemoryBuffer::operator=(const MemoryBuffer &o)
{
    Set(o);
    return *this;
}

MemoryBuffer &MemoryBuffer::operator=(MemoryBuffer &&o) noexcept
{
    m_len = std::exchange(o.m_len, 0);
    m_ptr = std::move(o.m_ptr);
    return *this;
}

bool MemoryBuffer::Set(u32 len, const void *ptr, u32 minlen, char filler)
{
    const u32 total = std::max(len, minlen);
    const u32 copied = ptr == nullptr ? 0 : len;
    std::unique_ptr<u8[]> bytes = NewArray(total);
    std::copy_n(static_cast<const u8 *>(ptr), copied, bytes.get());
    std::fill_n(bytes.get() + copied, total - copied, static_cast<u8>(filler));
    m_ptr = std::move(bytes);
    m_len = total;
    return true;
}

bool MemoryBuffer::Set(const std::string &str, u32 minlen, char filler)
{
    if (!std::in_range<u32>(str.size()))
        return false;
    return Set(static_cast<u32>(str.size()), str.data(), minlen, filler);
}

bool MemoryBuffer::Set(const char *str, u32 minlen, char filler)
{
    return Set(std::string(str), minlen, filler);
}

bool MemoryBuffer::Set(u8 c)
{
    return Set(1, &c);
}

// Setting a buffer to itself, by Set or by assignment, leaves it empty: the old bytes go first.
bool MemoryBuffer::Set(const MemoryBuffer &o)
{
    Clear();
    return Set(o.m_len, o.m_ptr.get());
}

bool MemoryBuffer::Set(const StringUtf8 &value)
{
    return Set(value.m_len, value.m_ptr.get());
}

bool MemoryBuffer::Clear()
{
    m_len = 0;
    m_ptr.reset();
    return true;
}

u32 MemoryBuffer::Add(u32 len, const void *ptr)
{
    return len == 0 ? m_len : Append(len, static_cast<const u8 *>(ptr));
}

u32 MemoryBuffer::Add(const MemoryBuffer &o)
{
    return Append(o.m_len, o.m_ptr.get());
}

u32 MemoryBuffer::Add(const std::string &str)
{
    return std::in_range<u32>(str.size()) ? Add(static_cast<u32>(str.size()), str.data()) : m_len;
}

u32 MemoryBuffer::Add(const char *str)
{
    return Add(std::string(str));
}

MemoryBuffer MemoryBuffer::operator+(const MemoryBuffer &o) const
{
    MemoryBuffer sum(*this);
    sum.Add(o);
    return sum;
}

MemoryBuffer MemoryBuffer::operator+(const std::string &str) const
{
    return *this + MemoryBuffer(str);
}

MemoryBuffer MemoryBuffer::operator+(const char *str) const
{
    return *this + MemoryBuffer(str);
}

u32 MemoryBuffer::SizeReduce(u32 delta)
{
    if (delta <= m_len)
        m_len -= delta;
    return m_len;
}

u32 MemoryBuffer::Extract(u32 len, void *buf) const
{
    return Extract(buf, 0, len);
}

u32 MemoryBuffer::Extract(void *ptr, u32 startPos, u32 len) const
{
    if (startPos >= m_len)
        return 0;
    const u32 count = std::min(len, m_len - startPos);
    std::copy_n(m_ptr.get() + startPos, count, static_cast<u8 *>(ptr));
    return count;
}

u32 MemoryBuffer::Extract(void **ptr) const
{
    if (m_len != 0)
        *ptr = MemoryBuffer(*this).m_ptr.release();
    return m_len;
}

MemoryBuffer MemoryBuffer::Extract(u32 start, u32 len) const
{
    if (start >= m_len)
        return {};
    return MemoryBuffer(std::min(len, m_len - start), m_ptr.get() + start);
}

MemoryBuffer MemoryBuffer::Sub(u32 start, u32 end) const
{
    const u32 stop = end == 0 ? m_len : end;
    return start < stop ? Extract(start, stop - start) : MemoryBuffer();
}

std::string MemoryBuffer::ToString(u32 maxlen) const
{
    return ToStringFromPos(0, maxlen);
}

std::string MemoryBuffer::ToStringFromPos(u32 startPos, u32 maxlen) const
{
    if (startPos >= m_len)
        return {};
    const u32 rest = m_len - startPos;
    const u8 *first = m_ptr.get() + startPos;
    const u8 *last = first + (maxlen == 0 ? rest : std::min(maxlen, rest));
    return std::string(first, std::find_if_not(first, last, IsText));
}

std::string MemoryBuffer::ToHex(u32 maxlen, char separator) const
{
    return Tools::ToHex(m_ptr.get(), maxlen == 0 ? m_len : std::min(maxlen, m_len), separator);
}

bool MemoryBuffer::SanitizeAsAsciiString(u8 replace)
{
    bool replaced = false;
    for (u32 i = 0; i < m_len; i++)
    {
        if (IsPrintable(m_ptr[i]))
            continue;
        m_ptr[i] = replace;
        replaced = true;
    }
    return replaced;
}

bool MemoryBuffer::operator==(const MemoryBuffer &o) const
{
    return m_len == o.m_len && Compare(o) == 0;
}

int MemoryBuffer::Compare(const MemoryBuffer &o) const
{
    return CompareBytes(m_ptr.get(), m_len, o.m_ptr.get(), o.m_len);
}

int MemoryBuffer::Compare(u32 len, const void *ptr) const
{
    return Compare(MemoryBuffer(len, ptr));
}

int MemoryBuffer::Compare(const std::string &str) const
{
    return Compare(MemoryBuffer(str));
}

int MemoryBuffer::Compare(const char *str) const
{
    return Compare(MemoryBuffer(str));
}

bool MemoryBuffer::ToLsbMsb(u64 value, u32 len)
{
    if (len > INTEGER_LEN_MAX)
        return false;
    Resize(len);
    PutLsbMsb(value, m_ptr.get(), len);
    return true;
}

bool MemoryBuffer::ToMsbLsb(u64 value, u32 len)
{
    if (len > INTEGER_LEN_MAX)
        return false;
    Resize(len);
    PutMsbLsb(value, m_ptr.get(), len);
    return true;
}

u32 MemoryBuffer::ToLsbMsb(u32 value, u8 *ptr, u32 numBytes)
{
    const u32 count = std::min(numBytes, INTEGER32_LEN);
    PutLsbMsb(value, ptr, count);
    return count;
}

u32 MemoryBuffer::FromLsbMsb(u32 len, u32 pos) const
{
    if (pos >= m_len)
        return 0;
    u32 value = 0;
    for (u32 i = std::min({len, INTEGER32_LEN, m_len - pos}); i > 0; i--)
        value = value << 8 | m_ptr[pos + i - 1];
    return value;
}

u32 MemoryBuffer::FromMsbLsb(u32 len, u32 pos) const
{
    if (pos > m_len || len > m_len - pos)
        return 0;
    u32 value = 0;
    for (u32 i = 0; i < std::min(len, INTEGER32_LEN); i++)
        value = value << 8 | m_ptr[pos + i];
    return value;
}

u32 MemoryBuffer::AddLsbMsb(u32 value, u32 numBytes)
{
    if (m_len == 0)
        ToLsbMsb(u64{value}, numBytes);
    else if (HasRoomFor(numBytes))
    {
        Widen(0, numBytes);
        PutLsbMsb(value, m_ptr.get() + m_len - numBytes, numBytes);
    }
    return m_len;
}

u32 MemoryBuffer::AddMsbLsb(u32 value, u32 numBytes)
{
    if (m_len == 0)
        ToMsbLsb(value, numBytes);
    else if (HasRoomFor(numBytes))
    {
        Widen(0, numBytes);
        PutMsbLsb(value, m_ptr.get() + m_len - numBytes, numBytes);
    }
    return m_len;
}

u32 MemoryBuffer::InsertLsbMsb(u32 value, u32 numBytes)
{
    const u32 count = std::min(numBytes, INTEGER32_LEN);
    if (!HasRoomFor(count))
        return 0;
    Widen(count, 0);
    return ToLsbMsb(value, m_ptr.get(), count);
}

// Unlike SizeReduce, brings the array to exactly `len` bytes; what they hold is not kept.
void MemoryBuffer::Resize(u32 len)
{
    if (len == m_len)
        return;
    m_ptr = NewArray(len);
    m_len = len;
}

// Reallocates with `before` and `after` bytes, yet to be written, around the present ones. Returns the replaced array:
// arguments that point into it are valid as long as the caller holds it.
std::unique_ptr<u8[]> MemoryBuffer::Widen(u32 before, u32 after)
{
    std::unique_ptr<u8[]> widened = NewArray(before + m_len + after);
    std::copy_n(m_ptr.get(), m_len, widened.get() + before);
    m_len += before + after;
    std::swap(m_ptr, widened);
    return widened;
}

u32 MemoryBuffer::Append(u32 len, const u8 *bytes)
{
    if (!HasRoomFor(len))
        return m_len;
    const std::unique_ptr<u8[]> replaced = Widen(0, len);
    std::copy_n(bytes, len, m_ptr.get() + m_len - len);
    return m_len;
}

} // namespace Tools
