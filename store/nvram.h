// The C interface of the radio SDK's configuration store (libnvram.so). Section 0 is the main radio and
// system section ("2860"), section 1 the second radio's. The device brings its own library with
// this interface; the one here keeps its values in files.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// Opens a section: reads its values into this process's cache. Opening an open section does nothing.
//   returns  0, or -1 when the section does not exist or cannot be read; a section that was open before then
//            goes on with its values of before
int nvram_init(int section);

// A copy of one value, which the caller frees with free().
//   returns  the text; null when the key is absent (an empty value is an empty text, not null), when the
//            section is not open, or when memory is short
char* nvram_bufget(int section, const char* key);

// Sets one value in the cache; nvram_commit writes it out.
//   returns  0, or -1 when the section is not open, an argument is null, or memory is short
int nvram_bufset(int section, const char* key, const char* value);

// Writes the values that this process set since its last commit on top of the stored ones.
//   returns  0, or -1 when they could not be stored (they then stay pending)
int nvram_commit(int section);

// The next opening reads the section anew; values set and not yet committed survive and lie over the store when it is opened again.
void nvram_close(int section);

#ifdef __cplusplus
}
#endif
