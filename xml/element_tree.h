#ifndef ZOR_XML_ELEMENT_TREE_H
#define ZOR_XML_ELEMENT_TREE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "xml/attributes_map.h"
#include "xml/parse_error.h"
#include "xml/tree_text.h"

class CVariablesSubTree;
class CVariablesTree;

namespace mu
{
class CTreeArena;
}

// An XML document as a tree of elements. An element has a qualified name ("prefix:local" or
// "local"), attributes, one text and a list of children; there are no nodes of other kinds.
//
// Nothing here recurses over the depth of a tree. Allocation failures throw std::bad_alloc. A
// document and its elements are used by one thread at a time.

/// Namespace prefix to namespace URI.
using CNamespacesPrefixesMap = std::map<std::wstring, std::wstring, mu::STextLess>;

/// Splits a name at its first ':': the prefix before it (empty if there is none) and the position
/// where the local part begins.
void NSPrefixFromName(const wchar_t* wszName, std::wstring& wsPrefix, int& iLocalStart);

/// Guards the object that a pointer (the slot) points to: when the guard's scope ends, the object
/// is deleted and the slot becomes null, unless Dismiss() was called.
template <typename T>
class SnglObjPtrPtr
{
public:
    explicit SnglObjPtrPtr(T** ppSlot) : m_ppSlot(ppSlot) {}
    ~SnglObjPtrPtr()
    {
        if (m_ppSlot != nullptr)
        {
            delete *m_ppSlot;
            *m_ppSlot = nullptr;
        }
    }

    SnglObjPtrPtr(const SnglObjPtrPtr&) = delete;
    SnglObjPtrPtr& operator=(const SnglObjPtrPtr&) = delete;

    void Dismiss() { m_ppSlot = nullptr; }

private:
    T** m_ppSlot;
};

/// An ordered list of elements, which it owns. Null entries are allowed and skipped; an element's
/// list of children has none.
class CVariablesSubTreesVector
{
public:
    CVariablesSubTreesVector() = default;
    ~CVariablesSubTreesVector();

    CVariablesSubTreesVector(const CVariablesSubTreesVector&) = delete;
    CVariablesSubTreesVector& operator=(const CVariablesSubTreesVector&) = delete;

    int size() const { return static_cast<int>(m_uCount); }
    bool empty() const { return m_uCount == 0; }
    CVariablesSubTree* operator[](int iPosition) const { return m_ppItems[iPosition]; }
    CVariablesSubTree* const* begin() const { return m_ppItems; }
    CVariablesSubTree* const* end() const { return m_ppItems + m_uCount; }

    void Append(CVariablesSubTree* pElement);
    void Clear();
    int GetNodeCount() const; ///< of all elements in the list and below

    /// The first element whose name equals wsName exactly, at the positions iStart to iEnd - 1 and
    /// then, from the front, 0 to iStart - 1; -1 if there is none. Searching on from the last match
    /// finds like-named elements in order at one step each. Throws std::out_of_range on reaching a
    /// position that is not in the list.
    int FindSubTreeEx(const std::wstring& wsName, int iStart, int iEnd) const;

private:
    friend class CVariablesSubTree;
    friend class CVariablesTree;
    template <typename TChar>
    friend class mu::CDocumentParser;

    void Reserve(std::size_t uCount);
    CVariablesSubTree* PopLast() { return m_ppItems[--m_uCount]; }

    // With a capacity of 0 the array lies in the document's arena and has room for m_uCount only.
    CVariablesSubTree** m_ppItems = nullptr;
    std::uint32_t m_uCount = 0;
    std::uint32_t m_uHeapCapacity = 0;
};

/// One element. It owns its children; the document and the parent are back-pointers. Elements are
/// made with new (or by the parser, in their document's memory) and freed with delete by their
/// owner: the parent's list, the document for its root, or whoever made one and gave it to nobody.
class CVariablesSubTree
{
public:
    /// The index is the number of children that pParent has now. The element is not appended.
    CVariablesSubTree(CVariablesTree* pTree, CVariablesSubTree* pParent, std::wstring_view wsName);
    /// A deep copy of an element of any document.
    CVariablesSubTree(CVariablesTree* pTree, CVariablesSubTree* pParent,
                      const CVariablesSubTree& source);
    ~CVariablesSubTree();

    CVariablesSubTree(const CVariablesSubTree&) = delete;
    CVariablesSubTree& operator=(const CVariablesSubTree&) = delete;

    // The last form makes "delete" work for every element: it looks whether the element lies on the
    // heap or in its document's arena. The plain form is for a constructor that throws.
    static void* operator new(std::size_t uBytes);
    static void operator delete(void* pMemory);
    static void operator delete(CVariablesSubTree* pElement, std::destroying_delete_t);

    std::wstring_view GetName() const { return m_name.View(); }
    std::wstring_view GetText() const { return m_text.View(); }
    const mu::STreeText& NameInTree() const { return m_name; }
    const mu::STreeText& TextInTree() const { return m_text; }
    const CNodeAttributesMap& GetAttributes() const { return m_attributes; }
    const CVariablesSubTreesVector& GetChildren() const { return m_children; }
    CVariablesTree* GetTree() const { return m_pTree; }
    CVariablesSubTree* GetParent() const { return m_pParent; }
    int GetIndex() const { return m_iIndex; }

    int GetNodeCount() const; ///< 1 for the element itself, and those of all children
    /// The parent's child after this one; null if there is none.
    CVariablesSubTree* GetNextSibling() const;

    void SetText(std::wstring_view wsText);
    void SetAttribute(std::wstring_view wsName, std::wstring_view wsValue);
    void AddAttributes(const CNodeAttributesMap& attributes, bool bReplace);

    /// Appends deep copies of the source's children after the own ones. The source may be this
    /// element or lie around it: what is copied is what stood there before the call.
    void CloneChildrenFrom(const CVariablesSubTree& source);
    /// Frees the children of that name; the others close up and get new indices.
    void RemoveChildrenByName(std::wstring_view wsName);

    /// Declares a namespace on this element: the attribute "xmlns", or "xmlns:" and the prefix.
    void SetNamespaceURI(std::wstring_view wsPrefix, std::wstring_view wsURI);
    /// The same for the prefix of a name. A null or empty URI does nothing.
    void AddNamespaceURI(const wchar_t* wszName, const wchar_t* wszURI);

    /// Changes this element to what the other one says: the other's attributes replace those of the
    /// same name, its text, if not empty, replaces the text, and each of its children is merged
    /// into the child of the same name and rank (the second "item" into the second "item"), or
    /// copied to the end where there is none. An element with the attribute "erase_children"
    /// holding a true value, or with the word "erase_children" in "__merge_options", first frees
    /// the children it is merged into. The elements' own names are not compared. The other element
    /// stays as it is, also where the two lie in one another.
    void MergeWith(const CVariablesSubTree& other);

private:
    friend class CVariablesTree;
    template <typename TChar>
    friend class mu::CDocumentParser;

    struct SInArena
    {
    };
    CVariablesSubTree(SInArena, CVariablesTree* pTree, CVariablesSubTree* pParent, int iIndex)
        : m_pTree(pTree), m_pParent(pParent), m_iIndex(iIndex), m_bInArena(true)
    {
    }

    void NoteHeapContent();
    void ReserveChildren(int iMore);
    void AppendChild(CVariablesSubTree* pChild);
    void Detach();
    void SetTree(CVariablesTree* pTree);
    bool HasArenaElements() const;
    bool IsInParentsList() const;
    bool IsInTree() const;
    bool IsInside(const CVariablesSubTree& other) const;
    static void FreeElement(CVariablesSubTree* pElement);
    void FreeDescendants();
    void MergeOwnFields(const CVariablesSubTree& other);
    static bool ErasesChildren(const CNodeAttributesMap& attributes);

    mu::STreeText m_name;
    CNodeAttributesMap m_attributes;
    CVariablesSubTreesVector m_children;
    mu::STreeText m_text;
    CVariablesTree* m_pTree;
    CVariablesSubTree* m_pParent;
    std::int32_t m_iIndex;
    bool m_bInArena = false;
};

namespace mu
{

/// Leads through pTop and all elements inside it, each before its children: the one after pElement,
/// null after the last.
const CVariablesSubTree* NextInDocument(const CVariablesSubTree* pElement,
                                        const CVariablesSubTree* pTop);

} // namespace mu

/// A document: a root element, or none, and whether an XML declaration is written before it.
class CVariablesTree
{
public:
    CVariablesTree();
    ~CVariablesTree();

    CVariablesTree(const CVariablesTree&) = delete;
    CVariablesTree& operator=(const CVariablesTree&) = delete;

    CVariablesSubTree* GetRoot() const { return m_pRoot; }
    bool IsXMLHeaderTagEnabled() const { return m_bHeaderEnabled; }
    void EnableXMLHeaderTag(bool bEnable) { m_bHeaderEnabled = bEnable; }

    void DeleteTree();
    int GetNodeCount() const;

    /// Gives pNode to pParent as its last child, or without a parent to this document as its root;
    /// the old root is freed. If pNode has a place already, here or in another document, it leaves
    /// that. Nothing happens if pParent is pNode or lies inside it. Elements that the parser made
    /// live in their document's arena: if pNode is such an element, or contains one, and leaves its
    /// document's tree, a copy takes its place and pNode is freed.
    void AddNodeToTree(CVariablesSubTree* pParent, CVariablesSubTree* pNode);
    /// A new element at the same place. If a URI is given, it declares the namespace of its prefix.
    CVariablesSubTree* AppendNode(const std::wstring& wsName, const wchar_t* wszNamespaceURI,
                                  CVariablesSubTree* pParent);
    /// A deep copy of an element of any document, also of one around pParent.
    CVariablesSubTree* AppendClone(CVariablesSubTree* pSource, CVariablesSubTree* pParent);

    /// Reads a document (see the rules in docs/architecture.md). On success it replaces the tree;
    /// on failure the tree stays, but a declaration that was seen has set the header flag.
    /// Time and memory are linear in the text.
    bool FromXML(const wchar_t* wszXML) { return FromXML(wszXML, false); }
    /// A confidential text is not shown to state reports.
    bool FromXML(const wchar_t* wszXML, bool bConfidential);
    /// The same for UTF-8 text of iLength bytes, as if converted by mu::ConvertString first.
    bool FromUTF8(const char* szXML, int iLength);
    /// The same for a text file of any encoding that CFileAccess detects; NULs count as blanks.
    /// Failures are logged as warnings, and what is no document with its text; a confidential text
    /// is neither logged nor shown to state reports.
    bool FromFile(const wchar_t* wszPath) { return FromFile(wszPath, false); }
    bool FromFile(const wchar_t* wszPath, bool bConfidential);
    static int ReplaceNullsWithSpaces(std::wstring& wsText);
    /// Why the last FromXML(), FromUTF8() or FromFile() has returned false; EXMLError::None if it
    /// has not. The offset counts bytes for FromUTF8(), wide units for the others.
    mu::SXMLError GetParseError() const { return m_parseError; }

    /// Writes the document: compact, attributes in order, an element's text after its children.
    /// Reading it back gives the same tree if each name is one that the parser can read and no text
    /// begins with white space, which the parser skips. False, and nothing changed, without a root.
    bool ToXML(std::wstring& wsOut) const;
    bool ToUTF8(std::string& strOut) const;
    /// The units that ToXML() writes, at most INT_MAX.
    int ToXMLLength() const;
    /// A UTF-8 file with a byte-order mark.
    bool ToFile(const wchar_t* wszPath) const;

private:
    friend class CVariablesSubTree;
    template <typename TChar>
    friend class mu::CDocumentParser;

    template <typename TChar>
    bool Parse(const TChar* pText, std::size_t uLength);
    [[gnu::cold, gnu::noinline]] bool Refuse(mu::EXMLError eReason, std::size_t uOffset);
    CVariablesTree* TreeUnder(const CVariablesSubTree* pParent);
    void Place(CVariablesSubTree* pParent, CVariablesSubTree* pNode);

    CVariablesSubTree* m_pRoot = nullptr;
    std::unique_ptr<mu::CTreeArena> m_pArena; // of the elements that the parser made
    mu::SXMLError m_parseError;
    bool m_bHeaderEnabled = false;
    bool m_bHeapContent = false; // some element of the tree lies, or owns memory, outside the arena
};

#endif
