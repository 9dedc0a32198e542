/*
 * Programs a raw binary into a chip's flash from address 0 on, verifies it, and lets it run.
 *
 *   program_and_verify JLINK_LIBRARY IMAGE
 */
#include <jlinkarm_birch_tessit.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum
{
    SWD_SPEED_KHZ = 4000,
    FICR_PAGE_SIZE = 0x10000010,  /* bytes */
    FICR_PAGE_COUNT = 0x10000014, /* of the flash */
    UNEQUAL = 1,                  /* beside the library's results, which are 0 or negative */
    UNUSABLE_FILE = 2,
    UNUSABLE_CHIP = 3,
};

struct image
{
    uint8_t* bytes;
    uint32_t size;
};

/* Why the newest call failed, in the library's words. */
static char reason[512];

static bool begins_with(const char* text, const char* begin)
{
    return strncmp(text, begin, strlen(begin)) == 0;
}

static void TESSIT_CALL keep_reason(const char* line)
{
    const char* message = strstr(line, TESSIT_LOG_SEPARATOR);
    if (message == NULL) {
        return; /* an operation begins */
    }
    message += strlen(TESSIT_LOG_SEPARATOR);
    if (begins_with(message, TESSIT_LOG_JLINK_MARK) || begins_with(message, TESSIT_LOG_DEVICE_PROFILE) ||
        begins_with(message, TESSIT_LOG_DEVICE_VERSION)) {
        return; /* it tells of progress */
    }
    (void)snprintf(reason, sizeof reason, "%s", message);
    reason[strcspn(reason, "\n")] = '\0';
}

/* Passes a result on, and tells of a failure. */
static int told(const char* what, result_code_t result)
{
    if (result != RESULT_OK) {
        (void)fprintf(stderr, "cannot %s: result %d%s%s\n", what, (int)result, reason[0] != '\0' ? ", " : "", reason);
    }
    reason[0] = '\0';
    return result;
}

static int connect_probe(void)
{
    const int result = told("open the probe", TESSIT_connect_to_emu_without_snr(SWD_SPEED_KHZ));
    if (result != RESULT_OK) {
        return result;
    }
    const result_code_t connected = TESSIT_connect_to_device();
    if (connected == ERR_PROTECTED) {
        (void)fprintf(stderr, "the chip is protected; TESSIT_recover opens it, and erases everything in it\n");
        return connected;
    }
    return told("connect to the chip", connected);
}

static int read_geometry(uint32_t* page_size, uint32_t* flash_size)
{
    uint32_t pages = 0;
    int result = told("read the page size", TESSIT_read_u32(FICR_PAGE_SIZE, page_size));
    if (result == RESULT_OK) {
        result = told("read the number of pages", TESSIT_read_u32(FICR_PAGE_COUNT, &pages));
    }
    if (result == RESULT_OK && (*page_size == UINT32_MAX || pages == UINT32_MAX)) { /* blank */
        (void)fprintf(stderr, "the chip does not tell the size of its flash\n");
        result = UNUSABLE_CHIP;
    }
    *flash_size = pages * *page_size;
    return result;
}

static int erase_pages(uint32_t size, uint32_t page_size)
{
    for (uint32_t page = 0; page < size; page += page_size) {
        const int result = told("erase a page", TESSIT_erase_page(page));
        if (result != RESULT_OK) {
            return result;
        }
    }
    return RESULT_OK;
}

static int verify(const struct image* image)
{
    uint8_t* found = malloc(image->size);
    if (found == NULL) {
        return told("verify", ERR_NO_MEMORY);
    }
    int result = told("read the flash back", TESSIT_read(0, found, image->size));
    if (result == RESULT_OK && memcmp(found, image->bytes, image->size) != 0) {
        (void)fprintf(stderr, "the flash differs from the image; is it block-protected?\n");
        result = UNEQUAL;
    }
    free(found);
    return result;
}

static int program(const struct image* image)
{
    uint32_t page_size = 0;
    uint32_t flash_size = 0;
    int result = read_geometry(&page_size, &flash_size);
    if (result == RESULT_OK && image->size > flash_size) {
        (void)fprintf(stderr, "the image does not fit into the flash\n");
        result = UNUSABLE_FILE;
    }
    if (result == RESULT_OK) {
        result = erase_pages(image->size, page_size);
    }
    if (result == RESULT_OK) {
        result = told("write the image", TESSIT_write(0, image->bytes, image->size, 1));
    }
    if (result == RESULT_OK) {
        result = verify(image);
    }
    if (result == RESULT_OK) {
        result = told("reset the chip", TESSIT_sys_reset());
    }
    return result == RESULT_OK ? told("let the chip run", TESSIT_go()) : result;
}

static int read_image(const char* path, struct image* image)
{
    enum
    {
        LARGEST = 0x100000
    };
    FILE* file = fopen(path, "rb");
    image->bytes = malloc(LARGEST);
    if (file != NULL && image->bytes != NULL) {
        image->size = (uint32_t)fread(image->bytes, 1, LARGEST, file);
    }
    const bool is_whole = image->size != 0 && feof(file) != 0;
    if (file != NULL) {
        (void)fclose(file);
    }
    if (!is_whole) {
        (void)fprintf(stderr, "cannot use %s as an image\n", path);
    }
    return is_whole ? RESULT_OK : UNUSABLE_FILE;
}

int main(int argc, char** argv)
{
    if (argc != 3) {
        (void)fprintf(stderr, "usage: program_and_verify JLINK_LIBRARY IMAGE\n");
        return EXIT_FAILURE;
    }
    struct image image = {NULL, 0};
    int result = read_image(argv[2], &image);
    if (result == RESULT_OK) {
        result = told("use the J-Link library", TESSIT_open_dll(argv[1], keep_reason, BIRCH_FAMILY));
    }
    if (result == RESULT_OK) {
        result = connect_probe();
    }
    if (result == RESULT_OK) {
        result = program(&image);
    }
    TESSIT_close_dll(); /* releases the probe, too; does nothing where the library is not open */
    if (result == RESULT_OK) {
        (void)printf("%u bytes are programmed, verified and running\n", (unsigned)image.size);
    }
    free(image.bytes);
    return result == RESULT_OK ? EXIT_SUCCESS : EXIT_FAILURE;
}
