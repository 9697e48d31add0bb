#ifndef ZOR_SIMULATOR_RECORDER_PIPES_H
#define ZOR_SIMULATOR_RECORDER_PIPES_H

#include <cstddef>
#include <string>
#include <vector>

/// The bytes, uWanted if that many are allowed, that a pipe of this process can hold at once.
std::size_t LargestPipeCapacity(std::size_t uWanted);

/// The recorder's ends of the two named pipes. One console is served at a time, and each gets pipes
/// of its own: what one leaves unread when it dies never reaches the next, however soon that comes.
class CRecorderPipes
{
public:
    CRecorderPipes() = default;
    ~CRecorderPipes(); ///< removes the pipes

    CRecorderPipes(const CRecorderPipes&) = delete;
    CRecorderPipes& operator=(const CRecorderPipes&) = delete;

    /// Creates the pipes, or takes over those that a dead recorder of this user left. Returns what
    /// stands in the way, empty on success: another recorder is running, a path is something else
    /// or belongs to somebody else.
    std::string Create();

    /// Looks whether a console has opened the output, which it does last.
    bool Connect();
    bool IsConnected() const { return m_iOut >= 0; }
    /// Puts new pipes in place for the next console. To be called when the connected one has shown
    /// by a request that it has opened both of its own.
    void PrepareForNext();
    void Disconnect();

    int GetInput() const { return m_iIn; }   ///< non-blocking
    int GetOutput() const { return m_iOut; } ///< non-blocking, -1 if not connected

    /// Enlarges the output, if need be and allowed, for a message of that size; false if it does
    /// not fit even so.
    bool HasRoomFor(std::size_t uMessage) const;
    /// Whether the console has taken all that was written.
    bool IsOutputEmpty() const;

private:
    std::vector<const char*> m_vCreated;
    int m_iIn = -1;
    int m_iOut = -1;
    int m_iNextIn = -1; // of the pipes for the next console
};

#endif
