# recount.awk: counts, from the log alone, the results that placementd and placement-table must have.
#
#     awk -v policy=least-used -v pool=10-20,30 -v avoid=0 -f recount.awk hostapd.log
#
# Prints the lines of placement-table --figures from "events" on. It reads only logs without damaged or unusual lines.

function ranges(text, list,    items, ends, n, i, v) {
    if (text == "0") return 0
    n = split(text, items, ",")
    for (i = 1; i <= n; i++) {
        if (split(items[i], ends, "-") == 1) ends[2] = ends[1]
        for (v = ends[1] + 0; v <= ends[2] + 0; v++) list[v] = 1
    }
}

function hex(digits) {
    digit = "0123456789abcdef"
    return 16 * (index(digit, substr(digits, 1, 1)) - 1) + index(digit, substr(digits, 2, 1)) - 1
}

function xor(a, b,    bit, sum) {
    for (bit = 1; bit < 256; bit *= 2)
        if (int(a / bit) % 2 != int(b / bit) % 2) sum += bit
    return sum + 0
}

function hashed(mac,    part, i, sum) {
    split(tolower(mac), part, ":")
    for (i = 1; i <= 6; i++) sum = xor(sum + 0, hex(part[i]))
    return usable[sum % n]
}

function least(    i, best) {
    best = usable[0]
    for (i = 1; i < n; i++) if (clients[usable[i]] < clients[best]) best = usable[i]
    return best
}

function happened(what,    i) {
    count[what]++
    events++
    for (i = 0; i < n; i++) load[usable[i]] += clients[usable[i]]
}

BEGIN {
    ranges(pool, in_pool)
    ranges(avoid, marked)
    for (v = 1; v <= 4094; v++) if ((v in in_pool) && !(v in marked)) usable[n++] = v
    for (v = 1; !n && v <= 4094; v++) if (v in in_pool) whole = 1
    for (v = 1; whole && v <= 4094; v++) if (v in in_pool) usable[n++] = v
}

$4 == "IEEE" && $6 == "associated" && ($3 in placed) { happened("kept"); next }

$4 == "IEEE" && $6 == "associated" {
    v = placed[$3] = policy == "mac-hash" ? hashed($3) : least()
    arrived[v]++
    if (++clients[v] > peak[v]) peak[v] = clients[v]
    happened("placed")
}

$4 == "IEEE" && $6 == "disassociated" && ($3 in placed) {
    clients[placed[$3]]--
    delete placed[$3]
    happened("left")
}

END {
    for (i = 0; i < n; i++) { x = load[usable[i]]; sum += x; squares += x * x }
    printf "events %d\nplaced %d\nkept %d\nleft %d\nvlans %d\n", events, count["placed"], count["kept"], count["left"],
        n
    printf "fairness %.6f\n", squares ? sum * sum / (n * squares) : 1
    for (i = 0; i < n; i++) used[usable[i]] = 1
    for (v = 1; v <= 4094; v++)
        if (v in in_pool) printf "vlan %d %d %d%s\n", v, arrived[v], peak[v], (v in used) ? "" : " avoided"
}
