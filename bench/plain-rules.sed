# The filter's rules for an ordinary job, as far as sed can implement them. For the jobs that
# script/bench makes, the output is the same as the filter's, byte for byte, which script/bench checks.
#
# Not implemented: header and trailer, which cost next to nothing; lines that end in carriage returns;
# the limit of 1024 bytes per piece, so that zero bytes do not protect a line; all rules for retained
# jobs, posters and booklets.

# Most lines match no rule, and one search for all patterns is twice as fast as one for each.
/^\x1b%-12345X\|^@PJL \|sfcl{\|}efcl\|JobPatchFile\|PageRegion\|CustomPageSize\|[*]PageSize\|InputSlot\|cleartomark\|^%%BeginProlog/!b

# The job's own PJL.
/^\x1b%-12345X/d
/^@PJL /d

# sfcl{ ... }efcl blocks: remembered as the first line of the hold space.
0,/sfcl{/{
  /sfcl{/{
    x
    s/^/sfcl\n/
    x
  }
}

# The job's own JobPatchFile feature, with the two lines after it. The marker feature that goes
# into the prolog names it too, so that comes later.
0,/JobPatchFile/{
  /JobPatchFile/{
    N
    N
    d
  }
}

# The first page-size feature: read to its end, kept in markers of its own.
0,/PageRegion\|CustomPageSize\|[*]PageSize/{
  /PageRegion\|CustomPageSize\|[*]PageSize/{
    :feature
    /EndFeature/!{
      $!{
        N
        b feature
      }
    }
    H
    x
    /^sfcl\n/{
      s/^sfcl\n\n*/sfcl{\n/
      s/$/\n}efcl/
      b kept
    }
    s/^\n*/[{\n/
    s/$/\n} stopped cleartomark/
    :kept
    x
  }
}

# Repeated after every paper-source feature.
/InputSlot/,/cleartomark\|}efcl/{
  /cleartomark\|}efcl/{
    x
    /Feature/{
      x
      G
      b prolog
    }
    x
  }
}

:prolog
# The marker feature of the prolog.
0,/^%%BeginProlog/{
  /^%%BeginProlog/c\
%%BeginProlog\
%%BeginFeature: *JobPatchFile 1\
%%Quorvan Macintosh PPD File 1\
%%EndFeature
}
