#ifndef ZOR_DIAGNOSTICS_STICKY_SCOPE_H
#define ZOR_DIAGNOSTICS_STICKY_SCOPE_H

class ISticky;

/// Holds a reference on an object for a scope. Null is allowed.
class CStickyScope
{
public:
    explicit CStickyScope(ISticky* pSticky);
    explicit CStickyScope(ISticky& sticky) : CStickyScope(&sticky) {}
    ~CStickyScope();

    CStickyScope(const CStickyScope&) = delete;
    CStickyScope& operator=(const CStickyScope&) = delete;

private:
    ISticky* m_pSticky;
};

#endif
