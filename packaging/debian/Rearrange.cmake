# Part of the installation script of a Debian package.

set(root "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}")

file(GLOB texts "${root}/share/man/man1/*.1" "${root}/share/doc/havrick/changelog")
execute_process(COMMAND gzip -9n ${texts} COMMAND_ERROR_IS_FATAL ANY)

# Debian's zsh looks here for the functions of packages.
file(RENAME "${root}/share/zsh/site-functions" "${root}/share/zsh/vendor-completions")
