// What the plug-in needs of a simulated server, whatever its kind.
#pragma once

#include <string>
#include <vector>

// One LSU that a simulator hands out. Never deleted through this type: hence no virtual destructor.
class LSU {
public:
    // The LSU's name, owned by the LSU; may be null.
    virtual const std::string *getInfo() = 0;

protected:
    ~LSU() = default;
};

// One simulated storage server. The order of the virtual operations is part of the contract.
class StorageServer {
public:
    virtual ~StorageServer() = default;

    // The server's name. A disk array gives a new string that the caller deletes, a Copan array a pointer to its own.
    virtual std::string *getInfo() = 0;

    // The server's LSUs, owned by the server, or null when it keeps no LSU objects.
    virtual std::vector<LSU *> *getLSUList() = 0;

    // The first LSU of that name, owned by the server, or null.
    virtual LSU *getLSU(std::string name) = 0;

    // The directory of an LSU, made when it is missing, as a new array of 1024 characters that the caller releases with
    // delete[]; null when there is none.
    virtual char *generate_path(std::string name) = 0;
};
