/* Loading a service's settings from an INI file, with a typed default for
 * every setting the file leaves out, and a warning for settings the service
 * does not know (usually a typing error in the file).
 *
 *   usage: ini_config [file]        (default: /etc/sensord.ini)
 */
#include <anvil.h>

#include <errno.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

struct settings {
    char device[64];
    uint32_t address;
    int interval_ms;
    double alarm_celsius;
    int alarm_enabled;
    char log_path[128];
};

static const char *const known[][2] = {
    {"sensor", "device"}, {"sensor", "address"}, {"sensor", "interval_ms"},
    {"alarm", "threshold"}, {"alarm", "enabled"}, {"log", "path"},
};

static void warn_unknown(void *arg, const char *section, const char *key, const char *value)
{
    size_t i;
    (void)value;
    for (i = 0; i < sizeof known / sizeof known[0]; i++)
        if (strcmp(section, known[i][0]) == 0 && strcmp(key, known[i][1]) == 0)
            return;
    fprintf(stderr, "%s: unknown setting %s.%s\n", (const char *)arg, section, key);
}

/* A lookup that does not find its key returns the default and sets ENOKEY. */
static const char *origin(void)
{
    return errno == ENOKEY ? "  (default)" : "";
}

int main(int argc, char **argv)
{
    const char *path = argc > 1 ? argv[1] : "/etc/sensord.ini";
    struct settings s;

    ini_parser *ini = ini_parser_create(path);
    if (ini == NULL) {
        /* ENOENT and the like from opening it, ENOEXEC when it is malformed. */
        fprintf(stderr, "%s: %s\n", path, strerror(errno));
        return 1;
    }
    ini_parser_foreach(ini, warn_unknown, (void *)path);

    /* Strings belong to the parser: copy what must outlive it. */
    errno = 0;
    snprintf(s.device, sizeof s.device, "%s",
             ini_parser_string(ini, "sensor", "device", "/dev/i2c-1"));
    printf("sensor.device      = %s%s\n", s.device, origin());

    errno = 0;
    s.address = ini_parser_hex(ini, "sensor", "address", 0x48);
    if (errno == ERANGE) {
        fprintf(stderr, "%s: sensor.address is out of range\n", path);
        ini_parser_destroy(ini);
        return 1;
    }
    printf("sensor.address     = 0x%02x%s\n", (unsigned)s.address, origin());

    errno = 0;
    s.interval_ms = ini_parser_int(ini, "sensor", "interval_ms", 1000);
    printf("sensor.interval_ms = %d%s\n", s.interval_ms, origin());

    errno = 0;
    s.alarm_celsius = ini_parser_double(ini, "alarm", "threshold", 70.0);
    printf("alarm.threshold    = %.1f%s\n", s.alarm_celsius, origin());

    errno = 0;
    s.alarm_enabled = ini_parser_boolean(ini, "alarm", "enabled", 0);
    printf("alarm.enabled      = %s%s\n", s.alarm_enabled ? "yes" : "no", origin());

    errno = 0;
    snprintf(s.log_path, sizeof s.log_path, "%s",
             ini_parser_string(ini, "log", "path", "/var/log/sensord.log"));
    printf("log.path           = %s%s\n", s.log_path, origin());

    ini_parser_destroy(ini);
    return 0;
}
