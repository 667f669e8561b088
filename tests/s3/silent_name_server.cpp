// Loaded first, it makes looking up a host's name take longer than anything waits: a name server that does not answer.
#include <netdb.h>
#include <unistd.h>

extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char * /*node*/, const char * /*service*/,
                                                                  const addrinfo * /*hints*/, addrinfo ** /*result*/) {
    sleep(3600);
    return EAI_AGAIN;
}
