# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# Running the program `ullage`.

seconds_to_end <- 10

find_program <- function() {
  named <- c(getOption("ullage.program"), Sys.getenv("ULLAGE_PROGRAM"))
  places <- c(named, system.file("bin", "ullage", package = "ullage"), installed_program_())
  place <- c(places[nzchar(places)], "")[[1]]
  if (!file.exists(place)) {
    abort(sprintf("the program ullage is not at \"%s\"; ULLAGE_PROGRAM can name another place", place), 66L)
  }
  normalizePath(place)
}

# Run the program to its end and give its standard output. Its warnings become warnings, unless warn is FALSE. Whatever
# ends this function early, an interrupt above all, ends the program and its workers first.
#
# With check = FALSE an exit code other than 0 is an error only if nothing was printed.
run_program <- function(arguments, directory = NULL, progress = NULL, input = NULL, check = TRUE, warn = TRUE) {
  printed <- tempfile("ullage-printed-")
  given <- if (!is.null(input)) tempfile("ullage-given-")
  on.exit(unlink(c(printed, given)))
  if (!is.null(input)) {
    writeLines(enc2utf8(input), given, useBytes = TRUE)
  }
  # In a process group of its own: Ctrl-C on the terminal comes to R alone, which then ends the program.
  # Its name for the tree of processes is drawn by R's generator, which is put back; so that name is not used.
  process <- keeping_random_state(processx::process$new(
    find_program(), in_bytes(arguments),
    wd = directory, stdin = given, stdout = printed, stderr = "|", encoding = "UTF-8"
  ))
  on.exit(end_program(process), add = TRUE, after = FALSE)
  said <- listen(process, progress)
  code <- process$get_exit_status()
  output <- read_utf8(printed)
  errors <- pass_on(said, warn)
  if (code != 0 && (check || !nzchar(output))) {
    if (length(errors) == 0) {
      errors <- sprintf("the program ended with %s %d", if (code < 0) "signal" else "exit code", abs(code))
    }
    abort(paste(errors, collapse = "\n"), code)
  }
  output
}

# The value of an expression that may use R's generator of random numbers, which is then left as it was.
keeping_random_state <- function(expression) {
  before <- globalenv()$.Random.seed
  on.exit(if (is.null(before)) {
    suppressWarnings(rm(".Random.seed", envir = globalenv()))
  } else {
    assign(".Random.seed", before, envir = globalenv())
  })
  expression
}

# Text that reaches another process as UTF-8, whatever the locale.
in_bytes <- function(text) {
  text <- enc2utf8(text)
  Encoding(text) <- "bytes"
  text
}

read_utf8 <- function(path) {
  text <- readBin(path, "raw", file.size(path))
  text <- rawToChar(text)
  Encoding(text) <- "UTF-8"
  text
}

# Lines of standard error, without those about progress.
listen <- function(process, progress) {
  lines <- character()
  repeat {
    process$poll_io(200)
    new <- process$read_error_lines()
    steps <- startsWith(new, "{\"done\"")
    lines <- c(lines, new[!steps])
    if (any(steps) && !is.null(progress)) {
      step <- jsonlite::fromJSON(new[steps][[sum(steps)]])
      progress(step$done, step$total)
    }
    if (length(new) == 0 && !process$is_alive() && !process$is_incomplete_error()) {
      return(lines)
    }
  }
}

# Warn of the warnings and give the errors.
pass_on <- function(lines, warn) {
  said <- sub("^ullage: ", "", lines[startsWith(lines, "ullage: ")])
  said <- in_arguments(said[!startsWith(said, "ullage --help")])
  warnings <- startsWith(said, "warning: ")
  if (warn) {
    for (line in said[warnings]) warn(sub("^warning: ", "", line))
  }
  said[!warnings & !startsWith(said, "note: ")]
}

# End the program with its workers, if it still runs. It is given the time to take away what it has begun.
end_program <- function(process) {
  if (process$is_alive()) {
    process$signal(tools::SIGTERM)
    process$wait(1000 * seconds_to_end)
    tools::pskill(-process$get_pid(), tools::SIGKILL) # its process group
  }
}

# Run the program and read the JSON that it prints.
run_json <- function(arguments, ...) {
  jsonlite::fromJSON(run_program(c(arguments, "--json"), ...), simplifyVector = FALSE, bigint_as_char = TRUE)
}

# A list of records as a data frame; what a record lacks is NA.
frame_of <- function(records) {
  names <- unique(unlist(lapply(records, names)))
  columns <- lapply(names, function(name) {
    values <- lapply(records, function(record) {
      value <- unlist(record[[name]])
      if (length(value) == 0) NA else if (length(value) > 1) paste(value, collapse = ", ") else value
    })
    unlist(values)
  })
  names(columns) <- names
  data.frame(columns, check.names = FALSE)
}
