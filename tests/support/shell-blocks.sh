# To be sourced.

# shell_block DOCUMENT WORD: the lines of the shell block of the document that begins with this word.
shell_block() {
    awk -v word="$2" '/```sh/ {inside = 1; first = 1; next} /```/ {inside = 0; wanted = 0}
        inside && first {wanted = ($1 == word); first = 0} wanted' "$1"
}
