/*
 * A program as others write them for Windows, in C and with nothing but the public header: it loads the library by its
 * path, looks up every function of the module-definition file by its undecorated name, and works with some of them.
 *
 *   host LIBRARY DEFINITION_FILE JLINK_LIBRARY SERIAL_NUMBER
 */
#include <jlinkarm_birch_tessit.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>

typedef result_code_t(TESSIT_CALL* open_dll_t)(const char*, log_callback_t, chip_family_t);
typedef result_code_t(TESSIT_CALL* connect_t)(uint32_t, uint32_t);
typedef result_code_t(TESSIT_CALL* read_u32_t)(uint32_t, uint32_t*);
typedef void(TESSIT_CALL* close_dll_t)(void);
typedef void (*function_t)(void);

static function_t function(HMODULE library, const char* name)
{
    const function_t found = (function_t)GetProcAddress(library, name);
    if (found == NULL) {
        printf("not found: %s\n", name);
        exit(EXIT_FAILURE);
    }
    return found;
}

static int count_functions(HMODULE library, const char* definition_file)
{
    FILE* const definition = fopen(definition_file, "r");
    char word[256];
    int is_name = 0;
    int count = 0;
    while (definition != NULL && fscanf(definition, "%255s", word) == 1) {
        if (is_name) {
            function(library, word);
            ++count;
        }
        is_name = is_name || strcmp(word, "EXPORTS") == 0;
    }
    return count;
}

int main(int argc, char** argv)
{
    HMODULE const library = argc == 5 ? LoadLibraryA(argv[1]) : NULL;
    if (library == NULL) {
        printf("the library does not load\n");
        return EXIT_FAILURE;
    }
    const open_dll_t open_dll = (open_dll_t)function(library, "TESSIT_open_dll");
    const connect_t connect = (connect_t)function(library, "TESSIT_connect_to_emu_with_snr");
    const read_u32_t read_u32 = (read_u32_t)function(library, "TESSIT_read_u32");
    const close_dll_t close_dll = (close_dll_t)function(library, "TESSIT_close_dll");
    uint32_t word = 0;
    const result_code_t opened = open_dll(argv[3], NULL, BIRCH_FAMILY);
    const result_code_t connected = connect((uint32_t)strtoul(argv[4], NULL, 10), 4000);
    const result_code_t was_read = read_u32(0, &word);
    close_dll();
    printf("%d functions, results %d %d %d, word 0x%08X\n", count_functions(library, argv[2]), (int)opened,
           (int)connected, (int)was_read, (unsigned)word);
    return EXIT_SUCCESS;
}
