// How elements are merged. The rules stand at the declaration of CVariablesSubTree::MergeWith().

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include "mu/numbers.h"
#include "xml/element_tree.h"

namespace
{

/// The children of an element by name, handed out in order.
class CChildrenByName
{
public:
    explicit CChildrenByName(const CVariablesSubTree& parent)
    {
        const CVariablesSubTreesVector& children = parent.GetChildren();
        for (CVariablesSubTree* const* p = children.end(); p != children.begin();)
        {
            --p;
            m_mapLeft[(*p)->GetName()].push_back(*p);
        }
    }

    CVariablesSubTree* TakeNext(std::wstring_view wsName)
    {
        const auto found = m_mapLeft.find(wsName);
        if (found == m_mapLeft.end() || found->second.empty())
        {
            return nullptr;
        }
        CVariablesSubTree* const pNext = found->second.back();
        found->second.pop_back();
        return pNext;
    }

private:
    /// Of each name the children not yet handed out, the next one last.
    std::map<std::wstring_view, std::vector<CVariablesSubTree*>, mu::STextLess> m_mapLeft;
};

bool HasWord(std::wstring_view wsText, std::wstring_view wsWord)
{
    constexpr std::wstring_view wsSeparators = L" \t\r\n,;|";
    std::size_t uStart = wsText.find_first_not_of(wsSeparators);
    while (uStart != std::wstring_view::npos)
    {
        const std::size_t uEnd =
            std::min(wsText.find_first_of(wsSeparators, uStart), wsText.size());
        if (wsText.substr(uStart, uEnd - uStart) == wsWord)
        {
            return true;
        }
        uStart = wsText.find_first_not_of(wsSeparators, uEnd);
    }
    return false;
}

} // namespace

bool CVariablesSubTree::ErasesChildren(const CNodeAttributesMap& attributes)
{
    const mu::SNodeAttribute* const pErase = attributes.Find(L"erase_children");
    const mu::SNodeAttribute* const pOptions = attributes.Find(L"__merge_options");
    return (pErase != nullptr && mu::StringToBool(std::wstring(pErase->m_value.View()))) ||
           (pOptions != nullptr && HasWord(pOptions->m_value.View(), L"erase_children"));
}

void CVariablesSubTree::MergeOwnFields(const CVariablesSubTree& other)
{
    if (ErasesChildren(other.m_attributes))
    {
        m_children.Clear();
    }
    NoteHeapContent();
    m_attributes.MergeWith(other.m_attributes);
    if (!other.GetText().empty())
    {
        m_text.Assign(other.GetText());
    }
}

void CVariablesSubTree::MergeWith(const CVariablesSubTree& other)
{
    if (this == &other)
    {
        return;
    }
    if (IsInside(other) || other.IsInside(*this))
    {
        const CVariablesSubTree copy(m_pTree, nullptr, other);
        MergeWith(copy);
        return;
    }

    std::vector<std::pair<CVariablesSubTree*, const CVariablesSubTree*>> pending;
    pending.emplace_back(this, &other);
    while (!pending.empty())
    {
        const auto [pInto, pFrom] = pending.back();
        pending.pop_back();
        pInto->MergeOwnFields(*pFrom);
        CChildrenByName children(*pInto);
        for (const CVariablesSubTree* const pChild : pFrom->m_children)
        {
            CVariablesSubTree* pTarget = children.TakeNext(pChild->GetName());
            if (pTarget == nullptr)
            {
                pTarget = new CVariablesSubTree(pInto->m_pTree, pInto, pChild->GetName());
                SnglObjPtrPtr<CVariablesSubTree> guard(&pTarget);
                pInto->AppendChild(pTarget);
                guard.Dismiss();
            }
            pending.emplace_back(pTarget, pChild);
        }
    }
}
