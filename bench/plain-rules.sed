# The filter's rules for an ordinary job, as far as sed can follow them: what a print queue without
# the filter would run as "sed -f plain-rules.sed". The jobs that script/bench makes come out as the
# filter's do, byte for byte; it checks that.
#
# Left out: header and trailer, which cost nothing beside the job; lines that end in carriage
# returns; the limit of 1024 bytes a piece, so zero bytes do not protect a line; all rules of
# retained jobs, posters and booklets.

# Most lines hold nothing that any rule looks for, and one search for everything is twice as fast as
# one for each.
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
