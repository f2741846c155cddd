# Turns the medians of Google Benchmark's CSV into a table of ratios. A name is "work/contender"; a peer's may end in " xN" (the
# library is to be N times as fast) or " +N" (it may take N ns more).

/_median"/ {
    split($0, part, "\"")
    name = part[2]
    sub(/_median$/, "", name)
    split(part[3], number, ",")
    time = number[4]
    slash = match(name, /\/[^\/]*$/)
    work = substr(name, 1, slash - 1)
    contender = substr(name, slash + 1)
    if (contender == "zemt") {
        ours[work] = time
        works[++count] = work
    } else {
        peers[work] = peers[work] "\n" contender "\t" time
    }
}

END {
    print "| Work | zemt, ns | Peer | Peer, ns | Ratio | Wanted |"
    print "|---|---:|---|---:|---:|---:|"
    fflush()
    for (i = 1; i <= count; ++i) {
        work = works[i]
        peer_count = split(substr(peers[work], 2), lines, "\n")
        for (j = 1; j <= peer_count; ++j) {
            split(lines[j], field, "\t")
            wanted = ""
            missed = 0
            ratio = field[2] / ours[work]
            if (match(field[1], / [x+][0-9.]+$/)) {
                bound = substr(field[1], RSTART + 2) + 0
                added = substr(field[1], RSTART + 1, 1) == "+"
                wanted = added ? "+" bound " ns" : bound
                missed = added ? ours[work] > field[2] + bound : ratio < bound
                field[1] = substr(field[1], 1, RSTART - 1)
            }
            failures += missed
            printf "| %s | %.1f | %s | %.1f | %.2f | %s%s |\n", work, ours[work], field[1], field[2], ratio, wanted,
                   missed ? ", **missed**" : "" | "sort -V"
        }
    }
    close("sort -V")
    if (count == 0) failures = 1
    exit failures > 0
}
