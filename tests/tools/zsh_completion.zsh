# Prints what zsh's completion offers for a command line: zsh_completion.zsh FOLDER_OF_KRW "krw LINE". An interactive
# shell on a terminal of its own does the completing. What it would offer is noted on the way.
zmodload zsh/zpty
offered=$(mktemp)
zpty shell "zsh -f -i"
zpty -w shell "fpath=(${(q)1} \$fpath); autoload -Uz compinit; compinit -u -D"
zpty -w shell "compadd() { local -a hits; builtin compadd -A hits \"\$@\"; print -l -- \$hits >> $offered; builtin compadd \"\$@\" }"
zpty -w shell 'PS1=REA""DY' # the echo of this line is no prompt
zpty -r shell echoed '*READY*'
zpty -w -n shell "$2"$'\t'
zpty -w -n shell $'\x15exit\n'
while zpty -r shell echoed; do :; done
sort -u "$offered" | tr '\n' ' '
rm -f "$offered"
