/*
 * nlscnv: character-encoding conversion library.
 *
 * This header is the whole C interface of libnlscnv.so. It compiles as C99
 * and as C++; every function below has C linkage.
 *
 * Model
 * -----
 * Every conversion meets in the pivot encoding "ISO-10646-UCS-2": 16-bit
 * Unicode code units in the machine's byte order, without a byte-order mark.
 * All lengths and sizes are counted in bytes, also for UCS-2 and UCS-4 text.
 * Encoding names are NUL-terminated byte strings, compared without regard to
 * the case of ASCII letters; any alias the registry knows is accepted
 * ("latin1", "us-ascii" and "iso-8859-1" all mean "ISO_8859-1:1987").
 *
 * Status codes
 * ------------
 *    1  success; for a conversion: all input consumed
 *    2  the conversion stopped with input left over (output full); the rest
 *       is held by the handle and drained with NLS_ConverterGetOverflow
 *  -1002 an allocation failed
 *  -1007 / -1008  a two-stage path exists but its first / second stage could
 *       not be created
 *  -1009 invalid argument: null handle or pointer, zero size, bad index
 *  -1010 a mapping table of the converter is missing
 *  -1014 no converter
 *  -1015 an enumeration could not be created
 *  -1016 no encoding recognised
 *  -1301 no converter for the pair (no direct conversion, no two-stage path)
 *  -1302 malformed input (UTF-7, modified UTF-7)
 *  -1303 output exhausted (modified UTF-7 encoder)
 *  -1304 sequence cut short / item did not fit (UTF-8)
 *
 * Failures that the library diagnoses also print one line to standard error:
 * "assert: line N, file UNIT" followed by the BEL character. The call then
 * returns its status; the library never aborts. A host can take these
 * diagnostics over or silence them with NLS_SetDiagnosticHandler.
 *
 * Trust rule
 * ----------
 * A converter library is loaded, and a registry file read, only when the file
 * and the directory that holds it are each owned by the effective user or by
 * root and writable by neither group nor others; a file or directory owned by
 * root whose group is root (gid 0) may be group-writable. Symbolic links are
 * resolved first: the rule applies to the target and the target's directory.
 * A refused library fails as a missing one does (same statuses, same
 * diagnostic lines); a refused registry file is treated as a missing one.
 * NLS_GetRegistryInfo tells what was refused and why. The environment
 * variable QV_NLS_DATADIRECTORY is ignored in a set-user-ID or set-group-ID
 * process (secure-execution mode, as secure_getenv decides).
 *
 * Threads
 * -------
 * The library creates no threads. NLS_EncInitialize, NLS_EncTerminate and
 * NLS_RegisterStaticLibrary change process-wide state without a lock and must
 * not overlap any other call. A handle is used by one thread at a time. Give
 * NLS_EncInitialize a MutexImplementation when several threads create
 * converters or look up names at once. NLS_SetDiagnosticHandler may be
 * called from any thread at any time.
 */
#ifndef NLSCNV_H
#define NLSCNV_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define NLS_EXPORT __attribute__((visibility("default")))
#else
#define NLS_EXPORT
#endif

#ifdef __cplusplus
class TEncodingConverter;
class TAutoDetector;
#else
typedef struct TEncodingConverter TEncodingConverter;
typedef struct TAutoDetector TAutoDetector;
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The pivot encoding: every conversion meets in it. */
#define NLS_PIVOT_ENCODING "ISO-10646-UCS-2"

/* Status codes: 1 and 2 for conversions that ran, negative values for
 * failures (the table at the top of this header says where each arises). */
enum {
  NLS_OK = 1,
  NLS_INPUT_LEFT = 2,
  NLS_E_NO_MEMORY = -1002,
  NLS_E_FIRST_STAGE = -1007,
  NLS_E_SECOND_STAGE = -1008,
  NLS_E_ARGUMENT = -1009,
  NLS_E_NO_TABLE = -1010,
  NLS_E_NO_CONVERTER = -1014,
  NLS_E_NO_ENUMERATION = -1015,
  NLS_E_NOT_RECOGNISED = -1016,
  NLS_E_NOT_CONSTRUCTED = -1100,
  NLS_E_LIBRARY = -1300,
  NLS_E_NO_CONVERSION = -1301,
  NLS_E_MALFORMED = -1302,
  NLS_E_OUTPUT_EXHAUSTED = -1303,
  NLS_E_SEQUENCE_CUT = -1304,
  NLS_E_NO_ENTRY_POINT = -1306
};

/* Opaque handles. A converter handle comes from NLS_NewEncodingConverter and
 * is released with NLS_DeleteEncodingConverter; an enumeration handle comes
 * from NLS_NewEncodingConverterEnumeration and is released with
 * NLS_DeleteEncodingConverterEnumeration. Both must be released before
 * NLS_EncTerminate. */
typedef void* NLS_ConverterHandle;
typedef void* NLS_EnumerationHandle;

/* Mutex operations supplied by the host. The library copies the record; the
 * host's record need not outlive NLS_EncInitialize. The mutex need not be
 * recursive: the library never locks while it holds the lock. */
typedef struct MutexImplementation {
  void* context; /* handed unchanged to lock and unlock */
  void (*lock)(void* context);
  void (*unlock)(void* context);
} MutexImplementation;

/* A factory: creates one converter (or detector) with no arguments. The
 * caller owns the result. */
typedef TEncodingConverter* (*NLS_ConverterFactory)(void);
typedef TAutoDetector* (*NLS_DetectorFactory)(void);

/* One conversion provided by a factory. A list registered by the host ends
 * with a record whose entryPointName is null. */
typedef struct NLS_StaticConverterEntry {
  const char* from;           /* canonical source encoding name */
  const char* to;             /* canonical destination encoding name */
  const char* entryPointName; /* name under which the factory is found */
  NLS_ConverterFactory function;
} NLS_StaticConverterEntry;

/* Result of a detection. */
typedef struct _NLS_AUTO_DETECT_RESULT {
  const char* encoding; /* canonical name (a constant of the library) */
  uint32_t confidence;  /* UTF-8: complete multi-byte sequences; else 1 */
  int32_t reserved;     /* not written by the detection calls */
  int32_t error;        /* 0 when the buffer fits the encoding */
} _NLS_AUTO_DETECT_RESULT;

/* ---- Initialisation --------------------------------------------------- */

/* Installs the mutex (when not null), sets the data directory and builds the
 * registry. The data directory is dataDirectory when neither null nor empty,
 * else the environment variable QV_NLS_DATADIRECTORY when set and not empty
 * (and the process is not in secure-execution mode), else the current
 * directory; "conv30/" is always appended. The registry files encreg.txt,
 * aliasreg.txt and javareg.txt and the converter libraries are read from
 * there under the trust rule; missing files are not an error (reading stops
 * at the first missing or refused file). Returns 1: NLS_GetRegistryInfo
 * tells what was found.
 * Calling it is optional: the first call that needs the registry initialises
 * the library with no mutex and no directory. */
NLS_EXPORT int NLS_EncInitialize(const MutexImplementation* mutex, const char* dataDirectory);

/* Destroys the registry, unloads every converter library and removes the
 * mutex. Every handle must have been deleted before. Returns 1. */
NLS_EXPORT int NLS_EncTerminate(void);

/* ---- Diagnostics and the state of the registry ------------------------ */

/* Receives one diagnostic: the line number and the source unit ("linker",
 * "nlsenc", ...) that the default line shows. The unit is a constant string. */
typedef void (*NLS_DiagnosticHandler)(void* context, int line, const char* unit);

/* Sends every later diagnostic to handler(context, line, unit) instead of
 * standard error; a null handler silences them. Without a call the library
 * writes "assert: line N, file UNIT" and BEL to standard error, which is
 * what NLS_PrintDiagnostic does: install it to get that back.
 * The setting belongs to the process: it may be made before or after
 * NLS_EncInitialize, from any thread, at any time, and NLS_EncTerminate
 * keeps it. Handler and context are installed as one unit. A diagnostic
 * raised while the handler changes goes to either the old or the new
 * handler, each with its own context. The call returns only when no thread
 * is inside the old handler any more, and the old handler is never called
 * after that: the host may then release the old context. So a handler must
 * not wait for a thread that may be changing the handler, and it must be
 * safe to call from several threads at once.
 * Returns 1, or -1009 when called from inside a handler (nothing changes). */
NLS_EXPORT int NLS_SetDiagnosticHandler(NLS_DiagnosticHandler handler, void* context);

/* The default handler: writes "assert: line %d, file %s" and BEL and a line
 * feed to standard error. The context is not read. */
NLS_EXPORT void NLS_PrintDiagnostic(void* context, int line, const char* unit);

/* States of a registry file in NLS_RegistryInfo. */
#define NLS_REGISTRY_FILE_NOT_READ 0 /* reading stopped before this file */
#define NLS_REGISTRY_FILE_FOUND 1    /* read */
#define NLS_REGISTRY_FILE_MISSING 2  /* absent or not readable */
#define NLS_REGISTRY_FILE_REFUSED 3  /* present, refused by the trust rule */

typedef struct NLS_RegistryFileInfo {
  int32_t state;       /* NLS_REGISTRY_FILE_... */
  uint32_t records;    /* records it gave (FOUND only) */
  const char* refusal; /* REFUSED only: why, e.g. "refused: directory writable
                          by others" (a constant); else null */
} NLS_RegistryFileInfo;

/* What the last initialisation found. The record may grow in later versions:
 * the host sets size to sizeof(NLS_RegistryInfo) of the header it was built
 * with, and the library fills only the members that lie within size. */
typedef struct NLS_RegistryInfo {
  uint32_t size;
  /* The data directory in use, "conv30/" included (for example
   * "/usr/share/nlscnv/conv30/"); valid until NLS_EncInitialize or
   * NLS_EncTerminate. */
  const char* dataDirectory;
  /* encreg.txt, aliasreg.txt, javareg.txt, in reading order. */
  NLS_RegistryFileInfo files[3];
  uint32_t librariesLoaded; /* converter libraries loaded now */
  uint32_t libraryFailures; /* loads that failed (refusals included) */
  /* Why the last library load failed: the dynamic loader's message, the
   * trust rule's refusal ("refused: file owned by another user", ...) or
   * "PATH: No such file or directory"; null when none failed. A copy that
   * belongs to the calling thread, valid until its next call. */
  const char* lastLibraryFailure;
} NLS_RegistryInfo;

/* Fills *info (initialising the library first when needed). Counts are since
 * the last initialisation. Must not overlap NLS_EncInitialize or
 * NLS_EncTerminate; otherwise any thread may call it at any time.
 * Returns 1; -1009 for a null info or a size below that of this first
 * version; -1002 when the registry could not be created. */
NLS_EXPORT int NLS_GetRegistryInfo(NLS_RegistryInfo* info);

/* ---- Converter handles ------------------------------------------------ */

/* Creates a converter from `from` to `to`: a direct conversion when the
 * registry has one, otherwise two stages that meet in UCS-2.
 * Returns 1 and stores the handle in *out, or a negative status and stores
 * null: -1009 (null argument), -1002, -1301 (no such conversion), -1007,
 * -1008, or a converter's own failure such as -1010. */
NLS_EXPORT int NLS_NewEncodingConverter(const char* from, const char* to, NLS_ConverterHandle* out);

/* Destroys a converter handle and whatever input it still holds.
 * Returns 1, or -1009 for a null handle. */
NLS_EXPORT int NLS_DeleteEncodingConverter(NLS_ConverterHandle handle);

/* Streams one piece of input through a handle.
 * Writes at most dstSize bytes to dst: the output, then a terminator (a NUL
 * byte, or a 16-bit zero for UCS-2 output) when it fits; *produced excludes
 * the terminator. Returns 1 when all input was consumed; 2 when the output
 * was full and the unconsumed input is held by the handle; a negative status
 * on failure (the unconsumed input is held as well).
 *
 * The streaming loop:
 *     for each piece of input:
 *         st = NLS_ConvertStreamBuffer(h, piece, len, out, outSize, &n);
 *         write n bytes of out
 *         while (st == 2) {
 *             NLS_GetConversionOverflowSize(h, &need);  -- grow out to need
 *             st = NLS_ConverterGetOverflow(h, out, need, &n);
 *             write n bytes of out
 *         }
 *     NLS_ResetEncodingConverter(h) between unrelated texts.
 * Conversion into UTF-8 (-1304) or IMAP modified UTF-7 (-1303) reports a
 * full output with a negative status instead of 2 when at least one byte of
 * room was left: the unconverted input is held all the same, so go on
 * draining while the held input shrinks. A -1304 that makes no progress means
 * the input ended inside a multi-byte sequence.
 * A new piece given while input is still held replaces the held input, so
 * drain before converting the next piece. Cut the input between characters:
 * a piece that ends inside a multi-byte character leaves that character held
 * (status 2 or a negative status such as -1304) and it is lost if the next
 * piece is given before draining. A null out pointer gives -1009. */
NLS_EXPORT int NLS_ConvertStreamBuffer(NLS_ConverterHandle handle, const unsigned char* src,
                                       unsigned int srcLen, unsigned char* dst,
                                       unsigned int dstSize, unsigned int* produced);

/* *size = 7 bytes for each input byte still held. A two-stage conversion can
 * also hold converted text that this does not count (the size may be 0 while
 * the status is 2): offer at least your usual buffer size when draining.
 * Returns 1, or -1009. */
NLS_EXPORT int NLS_GetConversionOverflowSize(NLS_ConverterHandle handle, unsigned int* size);

/* Converts the input held by the handle into dst. Returns 1 when nothing is
 * held any more, 2 when some is still held, -1009 (with a diagnostic line)
 * for a null dst or dstSize 0, or a converter failure. */
NLS_EXPORT int NLS_ConverterGetOverflow(NLS_ConverterHandle handle, unsigned char* dst,
                                        unsigned int dstSize, unsigned int* produced);

/* Drops held input and brings the converter back to its initial state.
 * Returns 1, or -1009. */
NLS_EXPORT int NLS_ResetEncodingConverter(NLS_ConverterHandle handle);

/* Converted output is never held by a handle: *size is always 0 and
 * NLS_GetConversionRem copies nothing (*count 0). Both return 1, or -1009. */
NLS_EXPORT int NLS_GetConversionRemSize(NLS_ConverterHandle handle, unsigned int* size);
NLS_EXPORT int NLS_GetConversionRem(NLS_ConverterHandle handle, unsigned char* dst,
                                    unsigned int dstSize, unsigned int* count);

/* Converts one whole buffer with a temporary converter. Returns 1 when all of
 * src was converted; 2 when dst was too small (the rest of the input is lost:
 * convert again with a buffer of NLS_GetResultBufferSize bytes); -1009 (with
 * a diagnostic line) for a null pointer or dstSize 0; -1014 when no converter
 * exists for the pair or none could be created; or a converter failure. */
NLS_EXPORT int NLS_ConvertBuffer(const char* from, const char* to, const unsigned char* src,
                                 unsigned int srcLen, unsigned char* dst, unsigned int dstSize,
                                 unsigned int* produced);

/* Output size, terminator included, that converting srcLen bytes from `from`
 * to `to` may need; 0 when the pair cannot be converted. */
NLS_EXPORT unsigned int NLS_GetResultBufferSize(const unsigned char* src, unsigned int srcLen,
                                                const char* from, const char* to);

/* 1 when a direct conversion or a two-stage path exists ("*" in either name
 * matches any encoding), else 0. */
NLS_EXPORT int NLS_EncodingConverterExists(const char* from, const char* to);

/* Registers the host's own converters: a list of records ending with one
 * whose entryPointName is null. The host keeps the list (and its strings)
 * alive until NLS_EncTerminate. The names become canonical names; the
 * conversions override built-in ones of the same pair. Not locked: must not
 * overlap other calls. Returns 1, or -1009 (with a diagnostic line). */
NLS_EXPORT int NLS_RegisterStaticLibrary(const NLS_StaticConverterEntry* list);

/* ---- Enumeration and names -------------------------------------------- */

/* Lists the conversions that match two patterns ("*" matches every name).
 * For two plain names the list holds one item when a direct or two-stage
 * conversion exists. Returns 1 (also for an empty list), or -1015. */
NLS_EXPORT int NLS_NewEncodingConverterEnumeration(const char* from, const char* to,
                                                   NLS_EnumerationHandle* out);
NLS_EXPORT int NLS_DeleteEncodingConverterEnumeration(NLS_EnumerationHandle handle);
NLS_EXPORT int NLS_CountEncodingConverters(NLS_EnumerationHandle handle, unsigned int* count);

/* Copies item `index` (0 to count - 1): its source and destination names,
 * each with its NUL, into buffers of at least 64 bytes. Returns 1, or -1009
 * for a null handle or an index out of range. */
NLS_EXPORT int NLS_GetEncodingConverterListItem(NLS_EnumerationHandle handle, unsigned int index,
                                                char* fromBuffer, char* toBuffer);

/* Canonical name of a name or alias; an unknown name is returned unchanged;
 * "*" for null. The string belongs to the library until NLS_EncTerminate. */
NLS_EXPORT const char* NLS_GetNormalizedEncodingName(const char* name);
/* Canonical name registered for a Java encoding name, or null; "*" for null. */
NLS_EXPORT const char* NLS_GetEncodingNameFromJava(const char* javaName);
/* Java encoding name of a canonical name, or null; "*" for null. */
NLS_EXPORT const char* NLS_GetJavaEncodingName(const char* name);

/* ---- Detection -------------------------------------------------------- */

/* Guesses the encoding of a byte buffer: "UTF-8" (confidence = number of
 * multi-byte sequences) when it is well-formed UTF-8 with multi-byte content,
 * else "Shift_JIS", "Extended_UNIX_Code_Packed_Format_for_Japanese" or
 * "ISO-2022-JP" (confidence 1). Writes one result and *count = 1 and returns
 * 1, or returns -1016 with *count = 0 and the result untouched. The fourth
 * argument is reserved and not read. */
NLS_EXPORT int NLS_DetectEncodingForBuffer(const unsigned char* buffer, unsigned int length,
                                           _NLS_AUTO_DETECT_RESULT* result, unsigned int reserved,
                                           unsigned int* count);
/* Always reports "ISO_8859-1:1987" with confidence 1; reads neither the text
 * nor the length nor the reserved argument. Returns 1. */
NLS_EXPORT int NLS_DetectEncodingForUCS2(const void* text, unsigned int length,
                                         _NLS_AUTO_DETECT_RESULT* result, unsigned int reserved,
                                         unsigned int* count);

/* One answer of NLS_DetectEncodings. The strings are constants of the
 * library (valid until the process ends; no NLS_EncInitialize needed). */
typedef struct NLS_DetectCandidate {
  const char* encoding;    /* canonical encoding name */
  const char* language;    /* ISO 639-1 code ("fr", "ru", "ja"), or null when
                              the method does not tell the language */
  unsigned int confidence; /* 0-100 */
  unsigned int bomLength;  /* bytes of byte-order mark at the start, else 0 */
  unsigned int flags;      /* NLS_DETECT_... bits */
} NLS_DetectCandidate;

/* flags: this candidate decodes the buffer to the same text as the first
 * one (set on runners-up only; for example ISO-8859-15 behind ISO-8859-1 on
 * text that uses no byte where the two differ). */
#define NLS_DETECT_SAME_TEXT 1u

/* Ranks the encodings that can have written buf[0, len) and stores up to max
 * of them in out, best first, confidences non-increasing; *count receives
 * how many were stored. Every byte of the buffer is read; the language
 * models score the first few KiB and the rest is checked for bytes that an
 * encoding cannot hold. A character cut by the end of the buffer is allowed.
 *
 * What is recognised, in this order:
 *  - A byte-order mark: "UTF-8", "UTF-32LE", "UTF-32BE", "UTF-16LE" or
 *    "UTF-16BE" with bomLength 3, 4 or 2 and confidence 100. The name is the
 *    byte order the mark spells: strip bomLength bytes and convert from that
 *    name, or convert the whole buffer from "UTF-16"/"UTF-32", which read the
 *    mark themselves.
 *  - UTF-32 and UTF-16 without a mark, from zero bytes and control bytes that
 *    ASCII-based text does not have, and the code points they spell.
 *  - 7-bit text: "ISO-2022-JP" (and -JP-1, -JP-2, -JP-3, -JP-2004),
 *    "ISO-2022-KR", "ISO-2022-CN" (and -CN-EXT) from their escape sequences,
 *    "HZ-GB-2312" from ~{ ~} shifts, "UNICODE-1-1-UTF-7" from base64 runs
 *    that spell non-ASCII characters, else "US-ASCII" (confidence 100).
 *  - Strictly valid "UTF-8" (no overlong forms, surrogates or values above
 *    U+10FFFF), and "CESU-8" when surrogate pairs are spelled as two
 *    sequences; the confidence grows with the number of multi-byte sequences.
 *  - CJK multi-byte encodings by the validity of every character and the
 *    frequency of their characters in Japanese, Chinese and Korean text; a
 *    superset is named only when the buffer holds a character its base does
 *    not decode, or a code the superset reads as a commoner character:
 *    "Shift_JIS"/"windows-31j", "Extended_UNIX_Code_Packed_Format_for_Japanese",
 *    "GB2312"/"GBK"/"GB18030", "Big5"/"windows-950"/"Big5-HKSCS",
 *    "EUC-KR"/"windows-949".
 *  - Single-byte encodings by the language their letters spell (character
 *    class and letter-pair models of about 40 languages): windows-1250 to
 *    1258, ISO-8859-1 to -16, KOI8-R/-U, the DOS and Mac pages, TIS-620 and
 *    windows-874, KZ-1048, PTCP154. Bytes an encoding leaves unassigned rule
 *    it out; C1 control bytes count against the ISO-8859 readings, so text
 *    that uses them as windows-1252 characters is named windows-1252.
 * The first candidate's confidence is the model's probability of its reading
 * of the text (candidates with NLS_DETECT_SAME_TEXT included); runners-up
 * carry their own probability.
 *
 * Returns 1 with *count >= 1; -1016 with *count = 0 when nothing fits
 * (an empty buffer, binary data); -1009 for a null buf, out or count or max
 * 0 (nothing written). Does not need NLS_EncInitialize and takes no lock;
 * safe on several threads at once. */
NLS_EXPORT int NLS_DetectEncodings(const unsigned char* buf, unsigned int len,
                                   NLS_DetectCandidate* out, unsigned int max, unsigned int* count);

/* Byte-pattern tests. isSJIS and isEUCJP answer 1 (only this encoding explains
 * the buffer), 0 (ruled out) or -1 (undecided). detect_JCSID answers 515
 * (ISO-2022-JP), 260 (Shift_JIS), 261 (EUC-JP), 1 (undecided) or 0. */
NLS_EXPORT int isSJIS(const unsigned char* buffer, int length);
NLS_EXPORT int isEUCJP(const unsigned char* buffer, int length);
NLS_EXPORT int detect_JCSID(unsigned short defaultCSID, const unsigned char* buffer, int length);
NLS_EXPORT void AutoDetect_UTF8(const unsigned char* buffer, unsigned int length,
                                _NLS_AUTO_DETECT_RESULT* result);
NLS_EXPORT void AutoDetect_JIS(const unsigned char* buffer, unsigned int length,
                               _NLS_AUTO_DETECT_RESULT* result);

/* ---- The strict interface -------------------------------------------- */

/* An iconv(3)-style interface beside the calls above: it never loses or
 * invents a character without saying so, keeps the state of a conversion
 * (shift states, base64 runs, a surrogate pair or a character cut between
 * two calls) in its descriptor, and gives the same output for any cut of
 * the input and any output sizes. Every decoder is strict: UTF-8 as RFC 3629
 * says, UTF-7 and IMAP modified UTF-7 as their RFCs say, no lone surrogate
 * in UTF-16 or UCS-2 or UCS-4, no byte sequence that an encoding does not
 * define; a 0 byte is an ordinary character. Characters above U+FFFF cross
 * the pivot as surrogate pairs and count as one character.
 *
 * NLS_IconvOpen(tocode, fromcode) takes iconv's argument order and every
 * name or alias the registry knows (case-blind) of an encoding that has a
 * strict codec: the built-in ones and those of converter libraries that
 * export one (see nlscnv/codec.h). "ASCII", "US-ASCII", "ANSI_X3.4-1968" and
 * the other US-ASCII names mean strict 7-bit ASCII here (the calls above
 * read them as ISO-8859-1). tocode may end in "//IGNORE" (skip invalid input
 * and characters the target cannot represent), "//TRANSLIT" (replace such a
 * character by a close approximation when one exists: Unicode compatibility
 * decompositions without their marks, and typographic substitutions such
 * as quotes, dashes, ellipsis, ligatures; locale-independent), or both;
 * each skipped or approximated character counts as one irreversible
 * conversion. Returns (NLS_Iconv_t)-1 with errno EINVAL for an unknown name.
 *
 * NLS_Iconv(cd, &in, &inleft, &out, &outleft) converts as much as fits and
 * returns the number of irreversible conversions, or (size_t)-1 with errno
 *   EILSEQ  invalid input, or a character the target cannot represent: *in
 *           points at its first byte (also when the failure arises in the
 *           second half of the conversion through the pivot);
 *   EINVAL  the input ends inside a character or escape sequence: *in points
 *           at its start and nothing of it is consumed (give more input, or
 *           report it at the end of the text);
 *   E2BIG   the output is full.
 * The pointers and counts always describe exactly what was consumed and
 * produced. A null in (or *in) ends the text: what a stateful encoder needs
 * to end it (ISO-2022-JP's return to ASCII, the closing of a UTF-7 run) is
 * written to out and the descriptor returns to its initial state (EILSEQ
 * when the decoder holds an unfinished sequence, such as UTF-7 bits that
 * are not padding; E2BIG when the end does not fit); with out (or *out)
 * null too it only resets.
 *
 * Descriptors are independent: one per thread at a time. Close them before
 * NLS_EncTerminate, which unloads the converter libraries behind them. */
typedef struct NLS_IconvDescriptor* NLS_Iconv_t;
NLS_EXPORT NLS_Iconv_t NLS_IconvOpen(const char* tocode, const char* fromcode);
NLS_EXPORT size_t NLS_Iconv(NLS_Iconv_t cd, char** in, size_t* inleft, char** out, size_t* outleft);
/* Returns 0, or -1 with errno EBADF for an invalid descriptor. */
NLS_EXPORT int NLS_IconvClose(NLS_Iconv_t cd);

/* What the last EILSEQ or EINVAL of a descriptor was, for messages. */
enum { NLS_ICONV_NO_FAILURE = 0, NLS_ICONV_INVALID, NLS_ICONV_UNMAPPABLE, NLS_ICONV_INCOMPLETE };
typedef struct NLS_IconvFailure {
  int kind;             /* one of the NLS_ICONV_ values */
  uint32_t codePoint;   /* NLS_ICONV_UNMAPPABLE: the character */
  size_t length;        /* input bytes of the ill-formed sequence or of the character */
  size_t context;       /* NLS_ICONV_INVALID: 1 when the byte after the sequence is
                         * what made it ill-formed */
  const char* fromName; /* canonical names of the two encodings */
  const char* toName;
} NLS_IconvFailure;
/* Fills *failure; returns 0, or -1 with errno EBADF or EINVAL (null). */
NLS_EXPORT int NLS_IconvGetFailure(NLS_Iconv_t cd, NLS_IconvFailure* failure);

/* Calls back once per encoding that NLS_IconvOpen accepts, with its
 * canonical name first and then its aliases, as iconvlist(3) does; stops
 * when the callback returns non-zero. Loads every converter library. */
typedef int (*NLS_IconvListCallback)(unsigned int count, const char* const* names, void* context);
NLS_EXPORT void NLS_IconvList(NLS_IconvListCallback callback, void* context);

/* Properties of a descriptor's two encodings, for hosts that cut a text into
 * pieces and convert them in parallel through descriptors of their own:
 *   NLS_ICONV_SOURCE_RESYNCS_AT_LINE_FEED  a 0x0A byte of the source is
 *       always a line feed, never part of another sequence, and the decoder
 *       is at rest after it: the text may be cut after any 0x0A byte and
 *       each piece decoded from the initial state;
 *   NLS_ICONV_SOURCE_STATELESS  the decoder keeps no state between
 *       characters: decoding may restart from the initial state at any
 *       character boundary;
 *   NLS_ICONV_TARGET_STATEFUL  the encoder keeps state across characters
 *       (shift states, base64 runs, a byte-order mark already written, a
 *       character held back): pieces encoded from the initial state do not
 *       concatenate to the encoding of the whole text.
 * The suffixes of tocode do not change them. Stores the bits in *properties
 * and returns 0, or -1 with errno EBADF (invalid descriptor) or EINVAL
 * (null properties). */
#define NLS_ICONV_SOURCE_RESYNCS_AT_LINE_FEED 1u
#define NLS_ICONV_SOURCE_STATELESS 2u
#define NLS_ICONV_TARGET_STATEFUL 4u
NLS_EXPORT int NLS_IconvGetProperties(NLS_Iconv_t cd, unsigned int* properties);

/* ---- String utilities (system allocator: free what they return) ------- */

NLS_EXPORT char* StrAllocCopy(char** destination, const char* source);
NLS_EXPORT char* StrAllocCat(char** destination, const char* source);
NLS_EXPORT int __strcmpi(const char* a, const char* b);
NLS_EXPORT const char* NLS_GetString(void);
NLS_EXPORT int PeekMetaCharsetTag(void);
NLS_EXPORT int UCS2_To_Other(void);

/* ---- Built-in factories ----------------------------------------------- */

NLS_EXPORT TEncodingConverter* NEWLATIN1TOUNICODEENCODINGCONVERTER(void);
NLS_EXPORT TEncodingConverter* NEWUNICODETOLATIN1ENCODINGCONVERTER(void);
NLS_EXPORT TEncodingConverter* NEWMACROMANTOUNICODEENCODINGCONVERTER(void);
NLS_EXPORT TEncodingConverter* NEWUNICODETOMACROMANENCODINGCONVERTER(void);
NLS_EXPORT TEncodingConverter* NEWUCS4TOUNICODEENCODINGCONVERTER(void);
NLS_EXPORT TEncodingConverter* NEWUNICODETOUCS4ENCODINGCONVERTER(void);
NLS_EXPORT TEncodingConverter* NEWEUCSTOUNICODEENCODINGCONVERTER(void);
NLS_EXPORT TEncodingConverter* NEWUNICODETOEUCSENCODINGCONVERTER(void);
NLS_EXPORT TEncodingConverter* NEWUTF8TOUNICODEENCODINGCONVERTER(void);
NLS_EXPORT TEncodingConverter* NEWUNICODETOUTF8ENCODINGCONVERTER(void);
NLS_EXPORT TEncodingConverter* NEWUTF7TOUNICODEENCODINGCONVERTER(void);
NLS_EXPORT TEncodingConverter* NEWUNICODETOUTF7ENCODINGCONVERTER(void);
NLS_EXPORT TEncodingConverter* NEWMODIFIEDUTF7TOUNICODEENCODINGCONVERTER(void);
NLS_EXPORT TEncodingConverter* NEWUNICODETOMODIFIEDUTF7ENCODINGCONVERTER(void);
NLS_EXPORT TAutoDetector* NEWUTF8ENCODINGDETECTOR(void);

/* UTF-8 conversion tables. */
NLS_EXPORT extern const signed char bytesFromUTF8[256];
NLS_EXPORT extern const uint32_t offsetsFromUTF8[6];
NLS_EXPORT extern const unsigned char firstByteMark[7];

#ifdef __cplusplus
}
#endif

#endif /* NLSCNV_H */
