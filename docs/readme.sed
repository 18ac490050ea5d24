# Links that lead somewhere on a git host, made to lead somewhere in the reference, too.

# Pages become subpages. Doxygen names a page after its path, with a "_" for each "/" and "-".
s!\[([^]]*)\]\(([0-9]{4}-[-a-z]*)\.md\)!\\subpage md_docs_adr_\2 "\1"!g
s!\[([^]]*)\]\(([-a-zA-Z/]*)\.md\)!\\subpage md_\2 "\1"!g
:name
s!(\\subpage [a-zA-Z0-9_]*)[-/]!\1_!
t name

# Sources are no part of the reference, and the licence lies beside it as it is.
s!\[([^]]*)\]\((examples/[^)]*)\)!\1 (`\2`)!g
s!\[([^]]*)\]\(LICENSE\)!<a href="LICENSE">\1</a>!g
