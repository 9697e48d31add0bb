#include "xml/element_tree.h"

#include <cassert>
#include <cwchar>
#include <new>
#include <utility>

#include "xml/tree_arena.h"

void NSPrefixFromName(const wchar_t* wszName, std::wstring& wsPrefix, int& iLocalStart)
{
    const wchar_t* const pColon = std::wcschr(wszName, L':');
    wsPrefix.assign(wszName, pColon != nullptr ? pColon : wszName);
    iLocalStart = pColon != nullptr ? static_cast<int>(pColon - wszName) + 1 : 0;
}

namespace mu
{

const CVariablesSubTree* NextInDocument(const CVariablesSubTree* pElement,
                                        const CVariablesSubTree* pTop)
{
    if (!pElement->GetChildren().empty())
    {
        return pElement->GetChildren()[0];
    }
    while (pElement != pTop)
    {
        if (const CVariablesSubTree* const pSibling = pElement->GetNextSibling())
        {
            return pSibling;
        }
        pElement = pElement->GetParent();
    }
    return nullptr;
}

} // namespace mu

CVariablesSubTree::CVariablesSubTree(CVariablesTree* pTree, CVariablesSubTree* pParent,
                                     std::wstring_view wsName)
    : m_pTree(pTree),
      m_pParent(pParent),
      m_iIndex(pParent != nullptr ? pParent->m_children.size() : 0)
{
    m_name.Assign(wsName);
}

CVariablesSubTree::CVariablesSubTree(CVariablesTree* pTree, CVariablesSubTree* pParent,
                                     const CVariablesSubTree& source)
    : CVariablesSubTree(pTree, pParent, source.GetName())
{
    m_attributes.Add(source.m_attributes, false);
    m_text.Assign(source.GetText());
    CloneChildrenFrom(source);
}

CVariablesSubTree::~CVariablesSubTree()
{
    FreeDescendants();
    m_name.Release();
    m_text.Release();
}

void* CVariablesSubTree::operator new(std::size_t uBytes)
{
    return ::operator new(uBytes);
}

void CVariablesSubTree::operator delete(void* pMemory)
{
    ::operator delete(pMemory);
}

void CVariablesSubTree::operator delete(CVariablesSubTree* pElement, std::destroying_delete_t)
{
    FreeElement(pElement);
}

void CVariablesSubTree::FreeElement(CVariablesSubTree* pElement)
{
    const bool bOnHeap = !pElement->m_bInArena;
    pElement->~CVariablesSubTree();
    if (bOnHeap)
    {
        ::operator delete(pElement);
    }
}

// Frees leaves first: each element has lost its children when it is freed, so nothing recurses.
void CVariablesSubTree::FreeDescendants()
{
    CVariablesSubTree* pElement = this;
    while (true)
    {
        while (!pElement->m_children.empty())
        {
            pElement = pElement->m_children.PopLast();
        }
        if (pElement == this)
        {
            return;
        }
        CVariablesSubTree* const pParent = pElement->m_pParent;
        FreeElement(pElement);
        pElement = pParent;
    }
}

int CVariablesSubTree::GetNodeCount() const
{
    int iCount = 0;
    for (const CVariablesSubTree* p = this; p != nullptr; p = mu::NextInDocument(p, this))
    {
        ++iCount;
    }
    return iCount;
}

CVariablesSubTree* CVariablesSubTree::GetNextSibling() const
{
    if (m_pParent == nullptr || m_iIndex >= m_pParent->m_children.size() - 1)
    {
        return nullptr;
    }
    return m_pParent->m_children[m_iIndex + 1];
}

void CVariablesSubTree::NoteHeapContent()
{
    if (m_pTree != nullptr)
    {
        m_pTree->m_bHeapContent = true;
    }
}

void CVariablesSubTree::SetText(std::wstring_view wsText)
{
    NoteHeapContent();
    m_text.Assign(wsText);
}

void CVariablesSubTree::SetAttribute(std::wstring_view wsName, std::wstring_view wsValue)
{
    NoteHeapContent();
    m_attributes.Set(wsName, wsValue);
}

void CVariablesSubTree::AddAttributes(const CNodeAttributesMap& attributes, bool bReplace)
{
    NoteHeapContent();
    m_attributes.Add(attributes, bReplace);
}

void CVariablesSubTree::ReserveChildren(int iMore)
{
    NoteHeapContent();
    m_children.Reserve(std::size_t{m_children.m_uCount} + static_cast<std::size_t>(iMore));
}

void CVariablesSubTree::AppendChild(CVariablesSubTree* pChild)
{
    assert(pChild->m_pTree == m_pTree); // its memory would end with another document
    NoteHeapContent();
    m_children.Append(pChild);
    pChild->m_pParent = this;
    pChild->m_iIndex = m_children.size() - 1;
}

// Takes the element out of its parent's list, or out of the document if it is the root.
void CVariablesSubTree::Detach()
{
    if (m_pTree != nullptr && m_pTree->m_pRoot == this)
    {
        m_pTree->m_pRoot = nullptr;
    }
    if (IsInParentsList())
    {
        CVariablesSubTreesVector& siblings = m_pParent->m_children;
        for (int i = m_iIndex; i + 1 < siblings.size(); ++i)
        {
            siblings.m_ppItems[i] = siblings[i + 1];
            siblings[i]->m_iIndex = i;
        }
        siblings.PopLast();
    }
    m_pParent = nullptr;
}

// False for an element that was constructed for this parent, but not appended to it yet.
bool CVariablesSubTree::IsInParentsList() const
{
    return m_pParent != nullptr && m_iIndex < m_pParent->m_children.size() &&
           m_pParent->m_children[m_iIndex] == this;
}

bool CVariablesSubTree::IsInTree() const
{
    const CVariablesSubTree* pTop = this;
    while (pTop->IsInParentsList())
    {
        pTop = pTop->m_pParent;
    }
    return m_pTree != nullptr && m_pTree->m_pRoot == pTop;
}

bool CVariablesSubTree::IsInside(const CVariablesSubTree& other) const
{
    const CVariablesSubTree* pElement = this;
    while (pElement != nullptr && pElement != &other)
    {
        pElement = pElement->m_pParent;
    }
    return pElement != nullptr;
}

bool CVariablesSubTree::HasArenaElements() const
{
    if (m_pTree == nullptr || m_pTree->m_pArena == nullptr)
    {
        return false;
    }
    const CVariablesSubTree* pElement = this;
    while (pElement != nullptr && !pElement->m_bInArena)
    {
        pElement = mu::NextInDocument(pElement, this);
    }
    return pElement != nullptr;
}

void CVariablesSubTree::SetTree(CVariablesTree* pTree)
{
    for (const CVariablesSubTree* p = this; p != nullptr; p = mu::NextInDocument(p, this))
    {
        const_cast<CVariablesSubTree*>(p)->m_pTree = pTree;
    }
}

// The source may contain this element and would grow with each copy that is appended here. So the
// copies are gathered under another element first.
void CVariablesSubTree::CloneChildrenFrom(const CVariablesSubTree& source)
{
    CVariablesSubTree gathered(m_pTree, nullptr, std::wstring_view());
    const CVariablesSubTree* pFrom = &source;
    CVariablesSubTree* pTo = &gathered;
    int iPosition = 0;
    while (pFrom != &source || iPosition < pFrom->m_children.size())
    {
        if (iPosition == pFrom->m_children.size())
        {
            iPosition = pFrom->m_iIndex + 1;
            pFrom = pFrom->m_pParent;
            pTo = pTo->m_pParent;
            continue;
        }
        const CVariablesSubTree* const pChild = pFrom->m_children[iPosition];
        auto* pCopy = new CVariablesSubTree(m_pTree, pTo, pChild->GetName());
        SnglObjPtrPtr<CVariablesSubTree> guard(&pCopy);
        pCopy->m_attributes.Add(pChild->m_attributes, false);
        pCopy->m_text.Assign(pChild->GetText());
        pTo->AppendChild(pCopy);
        guard.Dismiss();
        pFrom = pChild;
        pTo = pCopy;
        iPosition = 0;
    }

    const int iCopies = gathered.m_children.size();
    ReserveChildren(iCopies);
    for (int i = 0; i < iCopies; ++i)
    {
        AppendChild(gathered.m_children[i]);
    }
    gathered.m_children.m_uCount = 0;
}

void CVariablesSubTree::RemoveChildrenByName(std::wstring_view wsName)
{
    // Swaps the children to be removed to the end of the list and deletes them only after the last
    // comparison, because wsName may be the name of one of them.
    CVariablesSubTree** const ppItems = m_children.m_ppItems;
    int iKept = 0;
    for (int i = 0; i < m_children.size(); ++i)
    {
        if (ppItems[i]->GetName() != wsName)
        {
            std::swap(ppItems[iKept], ppItems[i]);
            ppItems[iKept]->m_iIndex = iKept;
            ++iKept;
        }
    }
    while (m_children.size() > iKept)
    {
        delete m_children.PopLast();
    }
}

void CVariablesSubTree::SetNamespaceURI(std::wstring_view wsPrefix, std::wstring_view wsURI)
{
    std::wstring wsName = L"xmlns";
    if (!wsPrefix.empty())
    {
        wsName += L':';
        wsName += wsPrefix;
    }
    SetAttribute(wsName, wsURI);
}

void CVariablesSubTree::AddNamespaceURI(const wchar_t* wszName, const wchar_t* wszURI)
{
    if (wszURI == nullptr || *wszURI == 0)
    {
        return;
    }
    std::wstring wsPrefix;
    int iLocalStart = 0;
    NSPrefixFromName(wszName, wsPrefix, iLocalStart);
    SetNamespaceURI(wsPrefix, wszURI);
}

CVariablesTree::CVariablesTree() = default;

CVariablesTree::~CVariablesTree()
{
    DeleteTree();
}

void CVariablesTree::DeleteTree()
{
    if (m_bHeapContent)
    {
        delete m_pRoot;
    }
    m_pRoot = nullptr;
    m_pArena.reset();
    m_bHeapContent = false;
}

int CVariablesTree::GetNodeCount() const
{
    return m_pRoot != nullptr ? m_pRoot->GetNodeCount() : 0;
}

void CVariablesTree::AddNodeToTree(CVariablesSubTree* pParent, CVariablesSubTree* pNode)
{
    if (pNode == nullptr)
    {
        if (pParent == nullptr)
        {
            DeleteTree();
        }
        return;
    }
    const bool bUnderItself =
        pParent == pNode ||
        (pParent != nullptr && !pNode->m_children.empty() && pParent->IsInside(*pNode));
    if (bUnderItself)
    {
        return;
    }

    CVariablesTree* const pTree = TreeUnder(pParent);
    const auto StaysInTree = [&]
    { return pNode->m_pTree == pTree && (pParent == nullptr || pParent->IsInTree()); };
    if (pNode->HasArenaElements() && !StaysInTree())
    {
        AppendClone(pNode, pParent);
        pNode->Detach();
        delete pNode;
        return;
    }
    if (pParent != nullptr)
    {
        pParent->ReserveChildren(1); // before Detach(): without memory the element stays in place
    }
    pNode->Detach();
    if (pNode->m_pTree != pTree)
    {
        pNode->SetTree(pTree);
    }
    Place(pParent, pNode);
}

CVariablesTree* CVariablesTree::TreeUnder(const CVariablesSubTree* pParent)
{
    return pParent != nullptr ? pParent->m_pTree : this;
}

void CVariablesTree::Place(CVariablesSubTree* pParent, CVariablesSubTree* pNode)
{
    assert(!pNode->IsInParentsList() && pNode != m_pRoot); // each of two owners would free it
    if (pParent != nullptr)
    {
        pParent->AppendChild(pNode);
        return;
    }
    if (pNode->HasArenaElements())
    {
        delete m_pRoot; // not DeleteTree(), which would free the arena that pNode lies in
    }
    else
    {
        DeleteTree();
    }
    m_pRoot = pNode;
    pNode->m_iIndex = 0;
    m_bHeapContent = true;
}

CVariablesSubTree* CVariablesTree::AppendNode(const std::wstring& wsName,
                                              const wchar_t* wszNamespaceURI,
                                              CVariablesSubTree* pParent)
{
    auto* pNode = new CVariablesSubTree(TreeUnder(pParent), pParent, wsName);
    SnglObjPtrPtr<CVariablesSubTree> guard(&pNode);
    pNode->AddNamespaceURI(wsName.c_str(), wszNamespaceURI);
    Place(pParent, pNode);
    guard.Dismiss();
    return pNode;
}

CVariablesSubTree* CVariablesTree::AppendClone(CVariablesSubTree* pSource,
                                               CVariablesSubTree* pParent)
{
    auto* pNode = new CVariablesSubTree(TreeUnder(pParent), pParent, *pSource);
    SnglObjPtrPtr<CVariablesSubTree> guard(&pNode);
    Place(pParent, pNode);
    guard.Dismiss();
    return pNode;
}
