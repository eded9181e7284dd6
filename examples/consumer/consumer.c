/* A program built against the installed library, as any user's would be:
 * through find_package(anvil) or pkg-config. It calls a few families and
 * checks what they return.
 *
 *   usage: consumer          exit status 0 when every result is right
 */
#include <anvil.h>

#include <stdio.h>
#include <string.h>
#include <time.h>

static int failures;

static void check(int ok, const char *what)
{
    printf("%-44s %s\n", what, ok ? "ok" : "WRONG");
    failures += !ok;
}

int main(void)
{
    char text[] = "  name = value \t";
    trim(text);
    check(strcmp(text, "name = value") == 0, "trim");

    string_builder *builder = string_builder_create();
    check(builder && string_builder_append(builder, "%s:%d", "port", 80) == 0 &&
              strcmp(string_builder_to_string(builder), "port:80") == 0,
          "string_builder_append");
    string_builder_destroy(builder);

    c_queue *queue = c_queue_create(2);
    check(queue && c_queue_push(queue, 7) == 0 && c_queue_push(queue, 8) == 0 &&
              c_queue_push(queue, 9) == -1 && c_queue_pop(queue) == 7,
          "c_queue: first in, first out, bounded");
    c_queue_destroy(queue);

    check(DJBHash("a") == 5381 * 33 + 'a', "DJBHash");

    /* One second past the largest 32-bit time: a program with a time_t wider
     * than long (32-bit, built with _TIME_BITS=64) reaches the 64-bit twin
     * and goes past 2038; every other one saturates in 32 bits. */
    struct timespec last = {0}, one = {0}, sum = {0};
    last.tv_sec = 2147483647;
    one.tv_sec = 1;
    timespec_add_safe(&last, &one, &sum);
    long long want = sizeof(time_t) > sizeof(long) ? 2147483648LL : 2147483647LL;
    printf("time_t of %u bits: 2147483647 s + 1 s = %lld s\n", (unsigned)(8 * sizeof(time_t)),
           (long long)sum.tv_sec);
    check(sum.tv_sec == want, "timespec_add_safe");

    return failures != 0;
}
