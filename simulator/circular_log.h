#ifndef ZOR_SIMULATOR_CIRCULAR_LOG_H
#define ZOR_SIMULATOR_CIRCULAR_LOG_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// A log in a buffer of fixed size, as recorders keep it: the newest line overwrites the oldest.
/// All lines have one length, so that none is ever overwritten in part.
class CCircularLog
{
public:
    static constexpr std::size_t kLineLength = 64; ///< in bytes, with the line end
    static constexpr std::size_t kLines = 16;

    /// Longer lines are cut, at a character.
    void Append(std::string_view svLine);

    /// The buffer as it stands.
    const std::string& GetBuffer() const { return m_strBuffer; }
    /// Where its oldest line begins.
    std::uint32_t GetSplit() const { return static_cast<std::uint32_t>(m_uNext); }

private:
    std::string m_strBuffer; // grows until it holds all lines
    std::size_t m_uNext = 0; // where the next line goes from then on
};

#endif
