/// A small HTTP/1.1 server with the API of libhttpserver, on libmicrohttpd, for systems that have no package
/// of it.
///
/// A webserver listens on one port; each http_resource registered with it answers the requests to one path,
/// on one of the server's threads, with an http_response. Only what this process needs of that API is here,
/// and code written for it compiles with the library's versions 0.18 and 0.19 too. Where they differ, the
/// behaviour is that of 0.18.
#pragma once

#include "platform/httpserver/createwebserver.h"
#include "platform/httpserver/fileresponse.h"
#include "platform/httpserver/httprequest.h"
#include "platform/httpserver/httpresource.h"
#include "platform/httpserver/httpresponse.h"
#include "platform/httpserver/httputils.h"
#include "platform/httpserver/stringresponse.h"
#include "platform/httpserver/webserver.h"
