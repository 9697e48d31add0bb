#ifndef ZOR_MU_WEB_H
#define ZOR_MU_WEB_H

// The one header that a web-server extension needs of this library: replies, content types, what
// a request carries, and text for pages and mails.
//
// Allocation failures throw std::bad_alloc, in replies before anything is sent; nothing else
// throws. Lengths below 0 are as good as 0. Nothing here keeps state: any thread may call.

#include "mu/html.h"
#include "mu/http_reply.h"
#include "mu/mail_body.h"
#include "mu/mime_types.h"
#include "mu/strings_map.h"
#include "mu/url.h"

#endif
