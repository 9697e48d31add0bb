#ifndef ZOR_BENCH_XML_PEERS_H
#define ZOR_BENCH_XML_PEERS_H

#include <memory>
#include <string>

/// A loaded document of one of the libraries that are compared.
class IDocument
{
public:
    virtual ~IDocument() = default;
    virtual bool Load(const std::string& strXML) = 0;
    virtual void Write(std::string& strXML) = 0;
};

struct SPeer
{
    const char* m_szName;
    std::unique_ptr<IDocument> (*m_pMake)();
    bool m_bWrites;
};

inline constexpr int kPeers = 5;
extern const SPeer g_aPeers[kPeers];

#endif
