/* A small double of the plug-in interface of lighttpd 1.4.29: the records and functions that the classic
 * binding uses, as far as it uses them. */
#ifndef CLASSIC_HOST_BASE_H
#define CLASSIC_HOST_BASE_H

#include <stddef.h>
#include <sys/types.h>

#define LIGHTTPD_VERSION_ID 0x1041D
#define SIZEOF_OFF_T 8
#define SIZEOF_LONG __SIZEOF_LONG__
#define PLUGIN_DATA size_t id

typedef struct server server;
typedef struct array array; /* of headers */

typedef struct buffer {
  char* ptr;
  size_t used, size; /* `used` counts the terminator; 0: unset */
} buffer;

typedef struct data_string {
  buffer* value;
} data_string;
typedef data_string data_unset;

typedef struct chunk {
  enum { UNUSED_CHUNK, MEM_CHUNK, FILE_CHUNK } type;
  buffer* mem; /* of a memory chunk */
  struct {     /* of a spooled one */
    buffer* name;
    off_t start, length;
    int fd; /* -1: closed */
    struct {
      char* start; /* MAP_FAILED: not mapped */
    } mmap;
  } file;
  off_t offset; /* bytes of the chunk that were consumed */
  struct chunk* next;
} chunk;

typedef struct chunkqueue {
  chunk *first, *last;
  off_t bytes_in, bytes_out;
} chunkqueue;

typedef enum { HTTP_METHOD_GET, HTTP_METHOD_POST, HTTP_METHOD_HEAD } http_method_t;
typedef enum { DIRECT, EXTERNAL } connection_type;
typedef enum { HANDLER_GO_ON = 1, HANDLER_FINISHED } handler_t;
enum { CON_STATE_CONNECT, CON_STATE_REQUEST_START, CON_STATE_RESPONSE_END = 8, CON_STATE_ERROR, CON_STATE_CLOSE };

typedef struct connection {
  int state, keep_alive, file_finished, http_status;
  connection_type mode; /* DIRECT, or the id of the plug-in that answers */
  struct {
    http_method_t http_method;
    buffer* uri;
    array* headers;
    size_t content_length;
  } request;
  chunkqueue *request_content_queue, *write_queue;
  void** plugin_ctx; /* one slot for each plug-in, by its id */
} connection;

typedef struct plugin {
  size_t version;
  buffer* name;
  void* (*init)(void);
  handler_t (*set_defaults)(server* srv, void* p_d);
  handler_t (*cleanup)(server* srv, void* p_d);
  handler_t (*handle_uri_raw)(server* srv, connection* con, void* p_d);
  handler_t (*handle_connection_close)(server* srv, connection* con, void* p_d);
  handler_t (*connection_reset)(server* srv, connection* con, void* p_d);
  void* data;
} plugin;

buffer* buffer_init(void);
buffer* buffer_init_string(const char* text);
void buffer_free(buffer* b);
int buffer_copy_string_len(buffer* b, const char* text, size_t length);
data_unset* array_get_element(array* a, const char* key); /* in any letter case */
buffer* chunkqueue_get_append_buffer(chunkqueue* queue);
int response_header_insert(server* srv, connection* con, const char* key, size_t key_length, const char* value,
                           size_t value_length);
int log_error_write(server* srv, const char* file, unsigned int line, const char* format, ...);

#endif
