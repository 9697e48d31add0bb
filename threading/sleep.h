#ifndef ZOR_THREADING_SLEEP_H
#define ZOR_THREADING_SLEEP_H

namespace mu
{

/// Sleep at least so long; 0 and less return at once. A signal that the thread handles ends the
/// sleep early.
void SleepMS(int iMilliseconds);
void SleepMicroSeconds(int iMicroSeconds);

/// Gives the processor to another thread that is ready. The label tells the reader of the source
/// what for. Returns true.
bool ThreadContextSwitch(const char* szLabel);

} // namespace mu

#endif
