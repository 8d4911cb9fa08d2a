/* quill/reg_table.h: the radio regulatory table (which channels and powers a country allows), as a signed file.
 *
 *     char *version;
 *     if (parse_validate_get_reg_tbl_file_ver("/flash/table.signed", &version) == 0) printf("table %s", version);
 *
 * A signed file consists of lines of text. tools/sign-reg-table makes it (docs/signing-regulatory-tables.md shows all
 * steps). Marker lines open and close the sections of the file:
 *
 *     -----BEGIN CERTIFICATE-----   the signer's X.509 certificate, base64 as in PEM (RFC 7468)
 *     -----BEGIN SIGNATURE-----     the signature, base64: RSA over SHA-1
 *     -----BEGIN FILE-----          the table
 *     -----BEGIN VERSION-----       the version line
 *
 * Each section ends with its "-----END ...-----" line. Sections come in any order and may overlap. A section that opens
 * again continues where it stopped. Lines outside all sections are ignored. A line that begins with a marker is a
 * marker line, whatever follows the marker. Empty lines are ignored everywhere, and so are carriage returns in the
 * table. A line longer than 399 bytes is read as several lines of up to 399 bytes each.
 *
 * The table's last byte must be a newline. The signature covers the table without that byte, followed by the version
 * section. THE BORDER BETWEEN THE TWO IS NOT SIGNED. Whoever may change the file can move the border. A part of the
 * table is then read as the version, or a part of the version as the table. So a publisher ends each table with a line
 * that its readers require. The publisher also gives versions a form that no line of a table has, and readers check
 * that form. docs/trust.md describes the other guarantees.
 *
 * The functions start the commands openssl and gunzip, found on PATH, by the C library's system(). A process that
 * ignores SIGCHLD cannot detect the end of a command, so every file is invalid there (-94). Only the output of commands
 * is checked, not their status. No command waits for a person's input. The standard input of each command is /dev/null.
 * If the machine has setsid, setsid detaches the command from its terminal.
 *
 * Temporary files have fixed names in the folder "/quill/reg_table/". The system provides this folder, and only trusted
 * users may write in it. Each file is created new. Only its owner can read and write it, whatever the umask is. All are
 * removed before a function returns. If something other than a regular file, such as a symbolic link, has one of these
 * names, that temporary file counts as not writable.
 *
 * Validation and unpacking run one at a time across threads and processes. A lock on "tempdecryptedfile.gz" in that
 * folder ensures this. Only one thread at a time may use log_buf and the version's text. The functions are not
 * cancellation points. Each step that fails prints its message to standard output, wrapped as " ^[msg TEXT]". The
 * checks of the certificate and of the signature also print a message when they succeed. The last message stays in
 * log_buf. */
#ifndef QUILL_REG_TABLE_H
#define QUILL_REG_TABLE_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* The signer's certificate must lead up to these two X.509 certificates in DER form. They belong to the authority that
 * issues the signers' certificates, and to the authority above it. They are compiled in (QUILL_PARENT_CERTIFICATE and
 * QUILL_TOP_CERTIFICATE of the build). A build that names none has the certificates of the development authority, whose
 * private keys are published: SUCH A BUILD TRUSTS ANYONE.
 *
 * The length of a certificate X follows from its DER header: X[2] * 256 + X[3] + 4. */
extern QUILL_API const uint8_t Parent_CA_Cert[];
extern QUILL_API const uint8_t Top_CA_Cert_1[];
extern QUILL_API const uint32_t Top_CA_Certs_count; /* 1 */

/* log_buf contains the last message, cut to fit. */
extern QUILL_API char log_buf[256];

/* These numbers are the results of the functions. */
enum {
    QUILL_REG_TABLE_VALID = 0,
    QUILL_REG_TABLE_NOT_OPENED = -1, /* only from get_reg_tbl_file_ver */
    QUILL_REG_TABLE_NULL_PATH = -90, /* only from decrypt_decompress_reg_tbl_file */
    QUILL_REG_TABLE_NO_MEMORY = -92,
    QUILL_REG_TABLE_NO_CERTIFICATE = -93, /* not base64, or the conversion to DER could not be run */
    QUILL_REG_TABLE_NO_SIGNATURE = -94,   /* the decoding could not be run; a file without a signature is not valid */
    QUILL_REG_TABLE_NOT_WRITTEN = -95,
    QUILL_REG_TABLE_NOT_READ = -96,
    QUILL_REG_TABLE_NOT_SPLIT = -97,
    QUILL_REG_TABLE_NOT_UNPACKED = -98, /* the unpacking could not be run */
    QUILL_REG_TABLE_NOT_VALID = -100
};

/* parse_validate_encrypted_signed_reg_tbl_file returns 0 when the file at path is signed by a valid certificate. A
 * valid certificate leads up to the two above and is within its time of validity. Only those two are trusted, not those
 * that the machine's openssl trusts. Else it returns
 *
 *     -97   path is null, or cannot be opened or read; or a section cannot be put into its temporary file
 *     -94   no command can be run to decode the signature, or its output cannot be written
 *     -93   a line of the certificate is neither a marker nor base64
 *     -93   no command can be run to convert the certificate, or its output cannot be written
 *     -96   the table's or the version's section cannot be read back, or memory ran out
 *     -96   the table does not end with a newline, or one of the two sections is empty or has a NUL byte
 *     -92   no memory for the signed data
 *     -95   the signed data cannot be written to its temporary file
 *     -100  the certificate or the signature is not valid, or the check could not be done: openssl, memory or one of
 *           its temporary files is missing
 *
 * No function returns the table. The program reads it from the validated file, by the rules for sections above. */
QUILL_API int parse_validate_encrypted_signed_reg_tbl_file(const char *path);

/* get_reg_tbl_file_ver stores the last line of the version section in *version, with its newline. The text has at most
 * 127 characters and ends at the line's first NUL byte. The text is borrowed and constant: it lasts until the next call
 * of this function or the one below. Returns 0. Returns -1, with *version unchanged, when the file cannot be opened or
 * read (path null included). get_reg_tbl_file_ver validates nothing and makes no temporary file.
 *
 * For a file without a version, the text is that of the previous call, or "" in the first call. Compatibility: programs
 * rely on it. */
QUILL_API int get_reg_tbl_file_ver(const char *path, char **version);

/* parse_validate_get_reg_tbl_file_ver validates the file and returns 0. It stores the validated version in *version, as
 * get_reg_tbl_file_ver does. When the file is not valid, for any reason, it returns -97 with *version unchanged. The
 * caller then reads the table. No process may change the file from the start of this call until the caller has read the
 * table. */
QUILL_API int parse_validate_get_reg_tbl_file_ver(const char *path, char **version);

/* decrypt_decompress_reg_tbl_file runs gunzip on the file at in_path. It replaces the content of out_path by the
 * result, up to the first NUL byte. A missing out_path is made with mode 0666 under the umask. gunzip requires a name
 * that ends in .gz. The file at in_path stays. out_path must be another file.
 *
 * decrypt_decompress_reg_tbl_file VALIDATES NOTHING and, despite its name, decrypts nothing. For a damaged file,
 * out_path gets what gunzip could unpack, which may be nothing. The same happens without gunzip, when gunzip is killed,
 * and when the file system of the temporary files is full. So validate the unpacked file before use. Returns 0, or
 *
 *     -90   a path is null
 *     -97   in_path cannot be opened, or one of the split's temporary files cannot be written
 *     -98   no command can be run, or the file for its output cannot be made
 *     -98   in_path is too long for a command line of 511 characters
 *     -96   what gunzip has written cannot be read; or no memory
 *     -95   out_path cannot be written; it is left empty when it could be opened
 *
 * Any in_path is safe: characters with a meaning to the shell are quoted. */
QUILL_API int decrypt_decompress_reg_tbl_file(const char *in_path, const char *out_path);

QUILL_END_DECLS

#endif
