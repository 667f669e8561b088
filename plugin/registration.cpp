#include "base/text_field.h"
#include "plugin/server_name.h"
#include "stspi/stsimg.h"
#include "stspi/stspi.h"

namespace {

constexpr uint64_t api_version = 9;
constexpr char plugin_label[] = "Simulation Plugin";

static_assert(sizeof plugin_prefix <= STS_REGISTRATION_TEXT_SIZE && sizeof plugin_label <= STS_REGISTRATION_TEXT_SIZE);

// The first table is handed out from version 7 on, the second from version 9 on.
constexpr uint64_t first_table_version = 7;
constexpr uint64_t second_table_version = 9;

}  // namespace

int32_t stspi_init(uint64_t offered_version, const void *, sts_registration_t *registration) {
    if (offered_version < first_table_version)
        return STS_E_VERSION;
    if (registration == nullptr)
        return STS_E_INVALID_PARAMETER;
    registration->api_version = api_version;
    registration->flag_1 = 1;
    registration->flag_2 = 1;
    registration->entry_points = STSSanDiskEntryPoints;
    copy_text(registration->prefix, plugin_prefix);
    copy_text(registration->label, plugin_label);
    registration->version_word_1 = api_version;
    registration->version_word_2 = api_version;
    registration->version_word_3 = api_version;
    registration->byte_flag = 0;
    return stsimg_init(STSIMG_API_VERSION);
}

int32_t stspi_init2(uint64_t offered_version, sts_registration2_t *registration) {
    if (offered_version < second_table_version)
        return STS_E_VERSION;
    if (registration == nullptr)
        return STS_E_INVALID_PARAMETER;
    registration->api_version = api_version;
    registration->entry_points = STSSANDiskEntryPoints2;
    return 0;
}

int32_t stspi_terminate(void) {
    stsimg_terminate();
    return STS_E_NOT_SUPPORTED;  // deliberate: also after a clean shutdown
}
