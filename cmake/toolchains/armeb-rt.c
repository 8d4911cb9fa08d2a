/* The routines of the ARM run-time ABI that a compiler calls on a 32-bit ARM with VFPv4 and hardware division, for
 * big-endian code. Debian's cross compilers have these routines only for little-endian code. Every symbol is hidden, so
 * a shared object that is linked with this file exports none of them. */
typedef unsigned int u32;
typedef int s32;
typedef unsigned long long u64;
typedef long long s64;

#define RT __attribute__((visibility("hidden"), used))

struct q_r { u64 quot, rem; };

extern int raise(int);

static inline u64 udivmod(u64 n, u64 d, u64 *rem)
{
	u64 q = 0;
	if (d == 0) {
		raise(8 /* SIGFPE */);
		*rem = n;
		return 0;
	}
	if ((n >> 32) == 0 && (d >> 32) == 0) {
		*rem = (u32)n % (u32)d;
		return (u32)n / (u32)d;
	}
	if (d <= n) {
		int s = ((d >> 32) ? __builtin_clz((u32)(d >> 32)) : 32 + __builtin_clz((u32)d)) -
			((n >> 32) ? __builtin_clz((u32)(n >> 32)) : 32 + __builtin_clz((u32)n));
		d <<= s;
		for (; s >= 0; s--, d >>= 1) {
			q <<= 1;
			if (n >= d) { n -= d; q |= 1; }
		}
	}
	*rem = n;
	return q;
}

RT u64 __armeb_udivmod(u64 n, u64 d, u64 *rem) { return udivmod(n, d, rem); }

RT s64 __armeb_divmod(s64 n, s64 d, s64 *rem)
{
	u64 r, q = udivmod(n < 0 ? -(u64)n : (u64)n, d < 0 ? -(u64)d : (u64)d, &r);
	*rem = (s64)(n < 0 ? -r : r);
	return (s64)((n < 0) != (d < 0) ? -q : q);
}

/* quotient in r0:r1, remainder in r2:r3 */
#define DIVMOD(name, worker)                                                   \
	__attribute__((naked)) RT void name(void)                              \
	{                                                                      \
		__asm__("push {r4, lr}\n\t"                                    \
			"sub  sp, sp, #16\n\t"                                 \
			"add  r12, sp, #8\n\t"                                 \
			"str  r12, [sp]\n\t"                                   \
			"bl   " #worker "\n\t"                                 \
			"ldrd r2, r3, [sp, #8]\n\t"                            \
			"add  sp, sp, #16\n\t"                                 \
			"pop  {r4, pc}");                                      \
	}
DIVMOD(__aeabi_uldivmod, __armeb_udivmod)
DIVMOD(__aeabi_ldivmod, __armeb_divmod)

/* 64-bit integer to floating point. These functions use the base ABI (soft-float registers), whatever the float ABI of
 * the program is. */
#define BASE __attribute__((pcs("aapcs")))

static inline double hi_lo(double hi, u32 lo) { return hi * 4294967296.0 + (double)lo; }

RT BASE double __aeabi_ul2d(u64 x) { return hi_lo((double)(u32)(x >> 32), (u32)x); }
RT BASE double __aeabi_l2d(s64 x) { return hi_lo((double)(s32)(x >> 32), (u32)x); }

static inline float ul2f(u64 x)
{
	/* keep the bits that a double can hold exactly, and combine the rest into one sticky bit; so only the conversion to
	 * float rounds */
	if (x >> 53)
		x = (x & ~(u64)0x7ff) | ((x & 0x7ff) ? 0x800 : 0);
	return (float)hi_lo((double)(u32)(x >> 32), (u32)x);
}
RT BASE float __aeabi_ul2f(u64 x) { return ul2f(x); }
RT BASE float __aeabi_l2f(s64 x)
{
	return x < 0 ? -ul2f(-(u64)x) : ul2f((u64)x);
}

static inline u64 d2ulz(double d)
{
	u32 hi = (u32)(d * (1.0 / 4294967296.0));
	return ((u64)hi << 32) | (u32)(d - (double)hi * 4294967296.0);
}
static inline s64 d2lz(double d) { return d < 0 ? -(s64)d2ulz(-d) : (s64)d2ulz(d); }
RT BASE u64 __aeabi_d2ulz(double d) { return d > 0 ? d2ulz(d) : 0; }
RT BASE s64 __aeabi_d2lz(double d) { return d2lz(d); }
RT BASE u64 __aeabi_f2ulz(float f) { return f > 0 ? d2ulz(f) : 0; }
RT BASE s64 __aeabi_f2lz(float f) { return d2lz(f); }

/* bit counting: GCC calls these functions of the run-time library */
RT int __popcountsi2(u32 x)
{
	x -= (x >> 1) & 0x55555555u;
	x = (x & 0x33333333u) + ((x >> 2) & 0x33333333u);
	return (int)((((x + (x >> 4)) & 0x0f0f0f0fu) * 0x01010101u) >> 24);
}
RT int __popcountdi2(u64 x) { return __popcountsi2((u32)(x >> 32)) + __popcountsi2((u32)x); }
RT int __ctzdi2(u64 x) { return (u32)x ? __builtin_ctz((u32)x) : 32 + __builtin_ctz((u32)(x >> 32)); }

/* complex multiplication, for the C library's own complex functions only. It does not recover infinities as ISO C Annex
 * G describes. */
RT float _Complex __mulsc3(float a, float b, float c, float d)
{
	return __builtin_complex(a * c - b * d, a * d + b * c);
}
RT double _Complex __muldc3(double a, double b, double c, double d)
{
	return __builtin_complex(a * c - b * d, a * d + b * c);
}
