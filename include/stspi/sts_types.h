/* Records that cross the interface.
 *
 * The layouts are the framework's ABI on 64-bit Linux, the same on x86-64, AArch64 and s390x; numbers are in the processor's
 * own byte order. Fields named reserved belong to the framework: the plug-in neither reads nor writes them. Each record's
 * offsets are asserted next to it. Text is NUL-terminated inside its field.
 */
#ifndef STSPI_STS_TYPES_H
#define STSPI_STS_TYPES_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define STS_LAYOUT(condition, text) static_assert(condition, text)
extern "C" {
#else
#define STS_LAYOUT(condition, text) _Static_assert(condition, text)
#endif
#define STS_OFFSET(record, field, offset) STS_LAYOUT(offsetof(record, field) == (offset), #record "." #field)
#define STS_SIZE(record, size)            STS_LAYOUT(sizeof(record) == (size), "size of " #record)

enum {
    STS_REGISTRATION_TEXT_SIZE = 32,
    STS_SERVER_NAME_SIZE = 512,
    STS_LSU_NAME_SIZE = 1024,
    STS_MOUNT_RESULT_SIZE = 1024,
    STS_PROPERTY_TEXT_SIZE = 2048,
    STS_HOST_RECORD_SIZE = 2056
};

/* Handles. Made by the plug-in or by the image library, opaque to the framework. */
typedef struct ServerHandle *sts_server_handle_t;
typedef struct LsuListHandle *sts_lsu_list_handle_t;
typedef void *sts_image_handle_t;
typedef void *sts_image_list_handle_t;

/* Image records belong to the framework and the image library; the plug-in hands their addresses on unread. */
typedef struct sts_image_definition sts_image_definition_t;
typedef struct sts_image_info sts_image_info_t;

/* A slot of an entry-point table: cast to the type of its entry point before the call. */
typedef void (*sts_entry_point_t)(void);

/* ---- session --------------------------------------------------------------------------------------------------- */

enum {
    STS_LOG_MASK_TRACE = 0x1, /* enables trace messages */
    STS_LOG_MASK_ERROR = 0x8, /* enables error messages */
    STS_LOG_LEVEL_TRACE = 3,  /* level argument of a trace message */
    STS_LOG_LEVEL_ERROR = 4   /* level argument of an error message */
};

/* Receives one message. The text is valid during the call only. Called on the thread that called the entry point. */
typedef void (*sts_log_function_t)(uint64_t log_context, const char *message, int32_t level);

/* The framework's session. The plug-in reads the three log members afresh for every message and writes none. */
typedef struct sts_session_def_v7_t {
    uint8_t reserved[520];
    uint64_t log_context;            /* handed back as the first argument of log_function */
    sts_log_function_t log_function; /* null: nothing is logged */
    uint32_t log_mask;               /* STS_LOG_MASK_*; only the low byte counts */
} sts_session_def_v7_t;
STS_OFFSET(sts_session_def_v7_t, log_context, 520);
STS_OFFSET(sts_session_def_v7_t, log_function, 528);
STS_OFFSET(sts_session_def_v7_t, log_mask, 536);

/* ---- registration ---------------------------------------------------------------------------------------------- */

/* Filled by stspi_init. */
typedef struct sts_registration_t {
    uint64_t api_version;                    /* 9 */
    sts_entry_point_t *entry_points;         /* STSSanDiskEntryPoints */
    char prefix[STS_REGISTRATION_TEXT_SIZE]; /* "Kelvarpool:" */
    char label[STS_REGISTRATION_TEXT_SIZE];  /* "Simulation Plugin" */
    uint8_t reserved[448];
    uint32_t flag_1;         /* 1 */
    uint32_t flag_2;         /* 1 */
    uint64_t version_word_1; /* 9 */
    uint64_t version_word_2; /* 9 */
    uint64_t version_word_3; /* 9 */
    uint8_t byte_flag;       /* 0 */
} sts_registration_t;
STS_OFFSET(sts_registration_t, api_version, 0);
STS_OFFSET(sts_registration_t, entry_points, 8);
STS_OFFSET(sts_registration_t, prefix, 16);
STS_OFFSET(sts_registration_t, label, 48);
STS_OFFSET(sts_registration_t, reserved, 80);
STS_OFFSET(sts_registration_t, flag_1, 528);
STS_OFFSET(sts_registration_t, flag_2, 532);
STS_OFFSET(sts_registration_t, version_word_1, 536);
STS_OFFSET(sts_registration_t, version_word_2, 544);
STS_OFFSET(sts_registration_t, version_word_3, 552);
STS_OFFSET(sts_registration_t, byte_flag, 560);

/* Filled by stspi_init2. */
typedef struct sts_registration2_t {
    uint64_t api_version;            /* 9 */
    sts_entry_point_t *entry_points; /* STSSANDiskEntryPoints2 */
} sts_registration2_t;
STS_OFFSET(sts_registration2_t, api_version, 0);
STS_OFFSET(sts_registration2_t, entry_points, 8);
STS_SIZE(sts_registration2_t, 16);

/* ---- servers --------------------------------------------------------------------------------------------------- */

/* One host of the array given to stspi_create_server. Only the name is read; what stands behind its terminator is the
 * framework's. */
typedef struct sts_host_t {
    char name[STS_HOST_RECORD_SIZE];
} sts_host_t;
STS_SIZE(sts_host_t, 2056);

enum {
    STS_SERVER_TYPE_COPAN = 4, /* server_type of a Copan array; not written for a disk array */
    STS_CAPABILITY_WORDS = 36  /* 32-bit words from offset 1040 to 1184 */
};

/* Filled by the server-property calls. The plug-in only sets capability bits, it clears none. */
typedef struct sts_server_info_t {
    char server_name[STS_SERVER_NAME_SIZE];
    uint8_t reserved_512[512];
    uint32_t server_type;
    uint8_t reserved_1028[12];
    uint32_t capabilities[STS_CAPABILITY_WORDS];
} sts_server_info_t;
STS_OFFSET(sts_server_info_t, server_name, 0);
STS_OFFSET(sts_server_info_t, server_type, 1024);
STS_OFFSET(sts_server_info_t, capabilities, 1040);
STS_SIZE(sts_server_info_t, 1184);

/* ---- LSUs ------------------------------------------------------------------------------------------------------ */

/* Names one LSU of an open server. */
typedef struct stsp_lsu_v7_t {
    sts_server_handle_t server;
    char lsu_name[STS_LSU_NAME_SIZE];
} stsp_lsu_v7_t;
STS_OFFSET(stsp_lsu_v7_t, server, 0);
STS_OFFSET(stsp_lsu_v7_t, lsu_name, 8);
STS_SIZE(stsp_lsu_v7_t, 1032);

enum {
    STS_LSU_CLASS_PATH = 1,      /* a directory, or an LSU of a Copan array */
    STS_LSU_CLASS_DYNAMIC = 2,   /* one disk of a pool */
    STS_LSU_CLASS_POOL = 3,      /* a pool (disk group) */
    STS_LSU_FLAG_STANDARD = 0x1, /* flags of pool and dynamic LSUs */
    STS_LSU_FLAG_PATH = 0x80     /* added to the flags of path and Copan LSUs */
};

/* Filled by stspi_get_lsu_prop_byname. */
typedef struct sts_lsu_info_v9_t {
    char server_name[STS_SERVER_NAME_SIZE];
    char lsu_name[STS_LSU_NAME_SIZE];
    uint32_t lsu_class;       /* STS_LSU_CLASS_* */
    uint32_t class_qualifier; /* 1 for pool and dynamic LSUs */
    uint8_t reserved_1544[1024];
    char property_text[STS_PROPERTY_TEXT_SIZE]; /* key=value items joined by ";" */
    uint32_t flags;                             /* STS_LSU_FLAG_* */
    uint8_t reserved_4620[12];
    uint64_t block_size_bytes;
    uint8_t reserved_4640[72];
    uint64_t capacity_bytes;
    uint8_t reserved_4720[8];
    uint64_t used_bytes;
    uint8_t reserved_4736[16];
} sts_lsu_info_v9_t;
STS_OFFSET(sts_lsu_info_v9_t, server_name, 0);
STS_OFFSET(sts_lsu_info_v9_t, lsu_name, 512);
STS_OFFSET(sts_lsu_info_v9_t, lsu_class, 1536);
STS_OFFSET(sts_lsu_info_v9_t, class_qualifier, 1540);
STS_OFFSET(sts_lsu_info_v9_t, property_text, 2568);
STS_OFFSET(sts_lsu_info_v9_t, flags, 4616);
STS_OFFSET(sts_lsu_info_v9_t, block_size_bytes, 4632);
STS_OFFSET(sts_lsu_info_v9_t, capacity_bytes, 4712);
STS_OFFSET(sts_lsu_info_v9_t, used_bytes, 4728);
STS_SIZE(sts_lsu_info_v9_t, 4752);

#ifdef __cplusplus
}
#endif

#endif
