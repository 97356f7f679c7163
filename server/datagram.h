#pragma once

#include "server/endpoint.h"
#include "wire/gbk.h"

namespace nq::server {

// One datagram to send: the services produce these, the socket layer sends them.
struct Datagram {
    Endpoint to;
    Bytes data;
};

}  // namespace nq::server
