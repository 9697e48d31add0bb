#ifndef ZOR_DIAGNOSTICS_CIRCLE_CHECK_H
#define ZOR_DIAGNOSTICS_CIRCLE_CHECK_H

namespace mu
{

/// Ends a walk along links that runs in a circle, soon after its first round (Brent's algorithm):
/// remembers a link of the walk, and a later one after each doubling of the steps.
class CCircleCheck
{
public:
    bool IsCircle(const void* pLink)
    {
        if (pLink == m_pMark || m_uSteps == kMostSteps)
        {
            return true;
        }
        if (++m_uSteps == m_uNextMark)
        {
            m_pMark = pLink;
            m_uNextMark *= 2;
        }
        return false;
    }

private:
    // Ends every walk: a chain that changes while it is read may never come back to the mark.
    static constexpr unsigned int kMostSteps = 1U << 16;

    const void* m_pMark = nullptr;
    unsigned int m_uSteps = 0;
    unsigned int m_uNextMark = 1;
};

} // namespace mu

#endif
