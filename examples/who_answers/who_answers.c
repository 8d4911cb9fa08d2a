/* cc who_answers.c -lquill -o who_answers && ./who_answers HOST...
 * Looks up each name with the command getent, and prints the first line of its output. Names may have any bytes. */
#include <quill/pipe.h>
#include <quill/validators.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>

/* Returns the first line that the command prints for host, or null when the command fails or prints nothing. */
static char *first_line(const char *host, char *line, int size) {
    char word[512], command[600];
    /* Escaping cannot make these texts one word for the shell. A host name has at most 253 characters. */
    if (*host == '\0' || strpbrk(host, "' \t\n") || strlen(host) > 253) return NULL;
    escape_shell_specialchars(host, word); /* the result is at most twice as long as host */
    snprintf(command, sizeof command, "getent hosts -- %s", word);
    int child;
    FILE *output = quill_popen_thr(command, "r", &child);
    if (!output) return NULL;
    char *found = fgets(line, size, output);
    const int status = quill_pclose_thr(output, child);
    return status != -1 && WIFEXITED(status) && WEXITSTATUS(status) == 0 ? found : NULL;
}

int main(int argc, char **argv) {
    int result = EXIT_SUCCESS;
    for (int i = 1; i < argc; i++) {
        char line[256];
        if (first_line(argv[i], line, sizeof line)) {
            fputs(line, stdout);
        } else {
            fprintf(stderr, "who_answers: no host is called %s\n", argv[i]);
            result = EXIT_FAILURE;
        }
    }
    return result;
}
