#include "LTProto/Tools/StringUtf8.h"

#include "LTProto/Tools/Hex.h"
#include "LTProto/Tools/MemoryBuffer.h"
#include "toviCommonLib/string/utf8.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace utf8 = tovi::string::utf8;

namespace Tools
{
namespace
{

constexpr u32 LEN_MAX = UINT32_MAX - 1; // with the terminator 32 bits still count the bytes
constexpr u32 SCRATCH_PER_BYTE = 4;     // more than makeStr needs for any byte of its source
constexpr u32 SOURCE_LEN_MAX = LEN_MAX / SCRATCH_PER_BYTE;

// A source text as UTF-8. Null `bytes`: the source is too long to convert.
struct sConverted
{
    std::unique_ptr<u8[]> bytes;
    u32 len = 0;
};

sConverted Convert(const char *str)
{
    const std::size_t sourceLen = std::strlen(str);
    if (sourceLen > SOURCE_LEN_MAX)
        return {};

    const u32 scratchLen = static_cast<u32>(sourceLen) * SCRATCH_PER_BYTE + 1;
    sConverted converted{std::make_unique<u8[]>(scratchLen)};
    converted.len = utf8::makeStr(converted.bytes.get(), scratchLen, str);
    return converted;
}

} // namespace

StringUtf8::StringUtf8(StringUtf8 &&o) noexcept : m_ptr(std::move(o.m_ptr)), m_len(std::exchange(o.m_len, 0)) {}

StringUtf8 &StringUtf8::operator=(const StringUtf8 &o)
{
    Set(o);
    return *this;
}

StringUtf8 &StringUtf8::operator=(StringUtf8 &&o) noexcept
{
    m_len = std::exchange(o.m_len, 0);
    m_ptr = std::move(o.m_ptr);
    return *this;
}

bool StringUtf8::Set(u32 len, const u8 *ptr)
{
    if (len > LEN_MAX)
        return false;
    if (len == 0)
        return Clear();

    std::unique_ptr<u8[]> bytes = std::make_unique<u8[]>(len + 1);
    if (ptr != nullptr)
        std::copy_n(ptr, len, bytes.get());
    m_ptr = std::move(bytes);
    m_len = len;
    return true;
}

bool StringUtf8::Set(const std::string &str)
{
    return Set(str.c_str());
}

bool StringUtf8::Set(const char *str)
{
    if (str == nullptr)
        return Clear();
    const sConverted text = Convert(str);
    return text.bytes != nullptr && Set(text.len, text.bytes.get());
}

bool StringUtf8::Set(const u8 *str)
{
    return Set(utf8::lengthInByte(str), str);
}

bool StringUtf8::Set(u8 c)
{
    return Set(1, &c);
}

// Setting a string to itself, by Set or by assignment, leaves it empty: the old bytes go first.
bool StringUtf8::Set(const StringUtf8 &o)
{
    Clear();
    return Set(o.m_len, o.m_ptr.get());
}

bool StringUtf8::Set(const MemoryBuffer &mb, u32 startPos)
{
    Clear();
    if (startPos > mb.m_len)
        return false;

    MemoryBuffer tail = mb.Sub(startPos, 0);
    m_ptr = std::move(tail.m_ptr);
    m_len = tail.m_len;
    return true;
}

bool StringUtf8::Clear()
{
    m_ptr.reset();
    m_len = 0;
    return true;
}

u32 StringUtf8::Add(const StringUtf8 &o)
{
    return Append(o.m_len, o.m_ptr.get());
}

u32 StringUtf8::Add(const std::string &str)
{
    return Add(str.c_str());
}

u32 StringUtf8::Add(const char *str)
{
    const sConverted text = Convert(str);
    return Append(text.len, text.bytes.get());
}

u32 StringUtf8::Extract(u32 len, void *buf) const
{
    const u32 count = std::min(len, m_len);
    std::copy_n(m_ptr.get(), count, static_cast<u8 *>(buf));
    return count;
}

u32 StringUtf8::Extract(void **ptr) const
{
    return MemoryBuffer(m_len, m_ptr.get()).Extract(ptr);
}

std::string StringUtf8::ToStdString() const
{
    return std::string(m_ptr.get(), m_ptr.get() + m_len);
}

std::string StringUtf8::ToHex(u32 maxlen, char separator) const
{
    return Tools::ToHex(m_ptr.get(), maxlen == 0 ? m_len : std::min(maxlen, m_len), separator);
}

bool StringUtf8::operator==(const StringUtf8 &o) const
{
    return m_len == o.m_len && Compare(o) == 0;
}

int StringUtf8::Compare(const StringUtf8 &o) const
{
    return CompareBytes(m_ptr.get(), m_len, o.m_ptr.get(), o.m_len);
}

int StringUtf8::Compare(const std::string &str) const
{
    return Compare(StringUtf8(str));
}

int StringUtf8::Compare(const char *str) const
{
    return Compare(StringUtf8(str));
}

u32 StringUtf8::Append(u32 len, const u8 *bytes)
{
    if (len > LEN_MAX - m_len)
        return m_len;

    StringUtf8 joined;
    joined.Set(m_len + len, nullptr);
    std::copy_n(m_ptr.get(), m_len, joined.m_ptr.get());
    std::copy_n(bytes, len, joined.m_ptr.get() + m_len);
    *this = std::move(joined);
    return m_len;
}

StringUtf8 operator+(const StringUtf8 &left, const StringUtf8 &right)
{
    StringUtf8 sum(left);
    sum.Add(right);
    return sum;
}

StringUtf8 operator+(const StringUtf8 &left, const std::string &right)
{
    return left + StringUtf8(right);
}

StringUtf8 operator+(const StringUtf8 &left, const char *right)
{
    return left + StringUtf8(right);
}

} // namespace Tools
