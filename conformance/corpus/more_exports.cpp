// Linked in without a version script: what a plug-in exports whose author did not think of its exports.
extern "C" __attribute__((visibility("default"))) int plugin_build_number();
extern "C" int plugin_build_number() { return 17; }
