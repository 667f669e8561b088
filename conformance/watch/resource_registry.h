// What a test made and must undo: handles, lists, files, links. Undone in reverse order when the test's body is over.
#pragma once

#include <functional>
#include <string>

namespace conformance {

// key: the resource itself (a handle, say), by which it is taken out again once the test released it on its own.
void register_resource(const void *key, const std::string &what, std::function<void()> undo);
void forget_resource(const void *key);

// Undoes everything still registered, newest first.
void undo_resources();

// A directory or link that a call under test is to make. Its absence at the end is a finding, then it is removed.
void owns_directory(const std::string &path);
void owns_link(const std::string &path);

}  // namespace conformance
