# Static analysis of src/ and platform/: cppcheck, then clang-tidy over the
# dev build's compile database. Sourced by scripts/test; the configuration is
# .cppcheck-suppressions and .clang-tidy at the top of the tree.

# Runs both analysers; returns non-zero when either reports anything.
tandrel_analysis() {
    local status=0
    local log
    log=$(mktemp "${TMPDIR:-/tmp}/tandrel-analysis.XXXXXX") || return 1

    echo "--- cppcheck" >&2
    if ! cppcheck --std=c++20 --language=c++ --enable=warning,performance,portability,style \
            --inline-suppr --suppressions-list=.cppcheck-suppressions --error-exitcode=1 \
            -I include -I platform -I platform/host -I src -j2 --quiet \
            --template='{file}:{line}: {severity} [{id}] {message}' src platform; then
        status=1
    fi

    echo "--- clang-tidy" >&2
    [ -e build/dev/compile_commands.json ] || cmake --preset dev >&2 || return 1
    if ! run-clang-tidy -p build/dev -j2 -quiet "$PWD/(src|platform)/" > "$log" 2>&1; then
        status=1
    fi
    # Only the findings and what explains them; not the per-file banners.
    sed 's/\x1b\[[0-9;]*m//g' "$log" | grep -v -e '^clang-tidy' -e 'warnings generated' \
        -e '^Suppressed' -e '^Use -header-filter' -e 'NOLINT' >&2 || true
    rm -f "$log"

    [ "$status" -eq 0 ] && echo "analysis: no findings" >&2
    return $status
}
