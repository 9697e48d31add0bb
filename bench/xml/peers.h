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

/// This library and those of its size, which run on the device, too.
extern const SPeer g_aPeers[3];
/// Those that are measured on the host only.
extern const SPeer g_aLargePeers[2];

#endif
