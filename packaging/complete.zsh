# zsh -f complete.zsh FOLDER WORDS: what zsh completes at the end of the words, with the completion files in FOLDER. Nothing
# but a terminal completes: one is opened for another zsh, which is given the words and a tab.
zmodload zsh/zpty
setopt extendedglob
zpty -b shell zsh -f -i
zpty -w shell "PS1=; unset zle_bracketed_paste; fpath=($1 \$fpath); autoload -Uz compinit; compinit -u -D; print ready-\${:-now}"
while zpty -r shell line '*ready-now*'; do break; done
zpty -w -n shell "$2"$'\t'
integer tries=50
typeset out= piece
while (( tries-- )) && [[ $out != *${(q)2##* }[a-z-]##* ]]; do
    sleep 0.1
    while zpty -r -t shell piece; do out+=$piece; done
done
print -r -- $out
zpty -d shell
