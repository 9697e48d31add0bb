// What takes the place of http_server.cpp in a build without Boost.

#include "simulator/http_server.h"

class CHttpServer::CListener
{
};

CHttpServer::CHttpServer() = default;
CHttpServer::~CHttpServer() = default;

// NOLINTNEXTLINE(performance-unnecessary-value-param): the other one keeps it
std::string CHttpServer::Start(const SHttpAddress&, CHandler, const SHttpLimits&)
{
    return "this build has no live page: it was made without Boost's headers";
}
