/* Reading and changing a device setting through its attribute files, the way
 * sysfs presents them: one value per file, read whole and written whole.
 *
 *   usage: backlight_setting [device-directory] [percent]
 *          (default: /sys/class/backlight/lcd, 50)
 *
 * Reads max_brightness and brightness with catint, writes the new brightness
 * with echo, and reads it back to check what the device accepted.
 */
#include <anvil.h>

#include <errno.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int read_int(const char *dir, const char *attribute, int *value)
{
    char path[PATH_MAX];
    snprintf(path, sizeof path, "%s/%s", dir, attribute);
    /* cat hands the whole content to catint, which stores atoi of it. */
    if (cat(path, catint, value) != 0) {
        fprintf(stderr, "%s: %s\n", path, strerror(errno));
        return -1;
    }
    return 0;
}

int main(int argc, char **argv)
{
    const char *dir = argc > 1 ? argv[1] : "/sys/class/backlight/lcd";
    int percent = argc > 2 ? atoi(argv[2]) : 50;
    char path[PATH_MAX], text[16], kind[32];
    catstring_dest type = {kind, sizeof kind};
    int max, now, wanted;

    snprintf(path, sizeof path, "%s/type", dir);
    /* A text attribute: catstringdln copies it without its line feed. */
    if (cat(path, catstringdln, &type) != 0) {
        fprintf(stderr, "%s: %s\n", path, strerror(errno));
        return 1;
    }
    if (read_int(dir, "max_brightness", &max) != 0 || read_int(dir, "brightness", &now) != 0)
        return 1;
    printf("%s: brightness %d of %d\n", kind, now, max);

    if (percent < 0 || percent > 100 || max <= 0) {
        fprintf(stderr, "percent must be 0 to 100, and max_brightness above 0\n");
        return 1;
    }
    wanted = max * percent / 100;
    snprintf(text, sizeof text, "%d", wanted);
    snprintf(path, sizeof path, "%s/brightness", dir);
    /* One write of the text and a line feed, truncating the old value. */
    if (echo(path, text, 0) != 0) {
        fprintf(stderr, "%s: %s\n", path, strerror(errno));
        return 1;
    }
    if (read_int(dir, "brightness", &now) != 0)
        return 1;
    printf("%s: brightness set to %d (%d%%)\n", kind, now, percent);
    return now == wanted ? 0 : 1;
}
