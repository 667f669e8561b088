#include "stspi/stsimg.h"

int32_t stsimg_init(uint64_t) { return 0; }
int32_t stsimg_terminate(void) { return 0; }
int32_t stsimg_create_image(const char *, const void *, const char *, const sts_image_definition_t *, uint32_t, sts_image_handle_t *) { return STS_E_NOT_SUPPORTED; }
int32_t stsimg_open_image(const char *, const void *, const char *, const sts_image_definition_t *, uint32_t, sts_image_handle_t *) { return STS_E_NOT_SUPPORTED; }
int32_t stsimg_delete_image(const char *, const void *, const char *, const sts_image_definition_t *, uint32_t) { return STS_E_NOT_SUPPORTED; }
int32_t stsimg_open_image_list(const char *, const void *, const char *, uint32_t, sts_image_list_handle_t *) { return STS_E_NOT_SUPPORTED; }
int32_t stsimg_get_image_prop_byname(const char *, const void *, const char *, const sts_image_definition_t *, sts_image_info_t *) { return STS_E_NOT_SUPPORTED; }
int32_t stsimg_get_image_prop(sts_image_handle_t, sts_image_info_t *) { return STS_E_NOT_SUPPORTED; }
int32_t stsimg_read_image(sts_image_handle_t, void *, uint64_t, uint64_t, uint64_t *) { return STS_E_NOT_SUPPORTED; }
int32_t stsimg_write_image(sts_image_handle_t, const void *, const void *, uint64_t, uint64_t, uint64_t *) { return STS_E_NOT_SUPPORTED; }
int32_t stsimg_close_image(sts_image_handle_t) { return STS_E_NOT_SUPPORTED; }
int32_t stsimg_list_image(sts_image_list_handle_t, sts_image_definition_t *) { return STS_E_NOT_SUPPORTED; }
int32_t stsimg_close_image_list(sts_image_list_handle_t) { return STS_E_NOT_SUPPORTED; }
