// Names that a firmware may give to things of its own: they would clash with the library's if the
// library had them outside its namespace.

class CScheduler
{
public:
    void Stop();
};
class CVariablesSubTree;

void CScheduler::Stop() {}

bool IsTextBefore(const wchar_t*, const wchar_t*)
{
    return false;
}

const CVariablesSubTree* NextInDocument(const CVariablesSubTree*, const CVariablesSubTree*)
{
    return nullptr;
}
