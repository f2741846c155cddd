-- The table sent, with 100,000 random rows that are the same in every run, and the empty table returned.
--
-- A record has no place for "no value" but in columns of Char, OraVarnum, dates and timestamps: the others are NOT NULL here.
-- Nor has it one for infinities and NaN, the fraction of a time of day, blanks at the end of padded text, and U+FFFD.

CREATE TABLE sent (
    padded text,
    counted text NOT NULL,
    terminated text NOT NULL,
    wide_padded text NOT NULL,
    wide_counted text NOT NULL,
    wide_terminated text NOT NULL,
    int8 smallint NOT NULL,
    int16 smallint NOT NULL,
    int32 int NOT NULL,
    int64 bigint NOT NULL,
    uint8 smallint NOT NULL,
    uint16 int NOT NULL,
    uint32 bigint NOT NULL,
    uint64 numeric(20) NOT NULL,
    float64 float8 NOT NULL,
    float32 float4 NOT NULL,
    packed numeric(38, 10) NOT NULL,
    varnum numeric,
    stamp timestamp,
    day date,
    clock time(0) NOT NULL
);
CREATE TABLE returned (LIKE sent INCLUDING ALL);

SELECT setseed(0.25) AS seed \gset

CREATE FUNCTION below(bigint) RETURNS bigint LANGUAGE sql AS 'SELECT floor(random() * $1)::bigint';

CREATE FUNCTION digits(count bigint) RETURNS text LANGUAGE sql AS
    $$ SELECT left(translate(md5(random()::text) || md5(random()::text), 'abcdef', '926535'), count::int) $$;

-- Letters of a script in random order, among them what CSV has to quote. Every text is a piece of one of these.
CREATE TABLE scripts AS
    SELECT (SELECT string_agg(letter, '' ORDER BY random())
            FROM (SELECT chr(first + (i * step) % count) FROM generate_series(1, 400) i
                  UNION ALL
                  SELECT unnest(array_fill(special, ARRAY[8]))
                  FROM unnest(ARRAY[' ', ',', '"', '\', E'\t', E'\n', E'\r\n', '''', '\N']) special) AS all_letters (letter)
           ) AS letters
    FROM (VALUES (33, 94, 1), (192, 384, 1), (880, 64, 1), (1040, 64, 1), (1488, 27, 1), (1569, 42, 1), (2309, 49, 1),
                 (3585, 46, 1), (12353, 86, 1), (19968, 20902, 97), (44032, 11172, 89), (128512, 80, 1)
         ) AS ranges (first, count, step);

CREATE FUNCTION words() RETURNS text LANGUAGE sql AS $$
    SELECT CASE below(50) WHEN 0 THEN '\N' ELSE substr(letters, 1 + below(400)::int, below(13)::int) END
    FROM scripts OFFSET below(12) LIMIT 1 $$;

INSERT INTO sent
SELECT CASE WHEN below(10) > 0 THEN rtrim(words(), ' ') END,
    words(), words(), rtrim(words(), ' '), words(), btrim(words(), ' '),
    below(256) - 128,
    below(65536) - 32768,
    below(4294967296) - 2147483648,
    (below(4294967296) - 2147483648) * 4294967296 + below(4294967296) >> below(64)::int,
    below(256),
    below(65536),
    below(4294967296),
    below(4294967296)::numeric * 4294967296 + below(4294967296),
    sign(random() - 0.5) * CASE below(4)
        WHEN 0 THEN round(random() * 1e9) / 100
        WHEN 1 THEN 4.9406564584124654e-324 * (1 + below(4503599627370495))  -- subnormal
        ELSE (1 + random()) * power(2.0::float8, below(2046) - 1022) END,
    sign(random() - 0.5) * CASE below(4)
        WHEN 0 THEN round(random() * 1e6) / 100
        WHEN 1 THEN 1.401298464324817e-45::float8 * (1 + below(8388607))
        ELSE (1 + random()) * power(2.0::float8, below(253) - 126) END,
    (CASE below(2) WHEN 0 THEN '-' ELSE '' END || digits(1 + below(28)) || '.' || digits(10))::numeric,
    CASE WHEN below(10) > 0
        THEN (CASE below(2) WHEN 0 THEN '-' ELSE '' END || digits(point) || '.' || digits(38 - point))::numeric END,
    CASE WHEN below(10) > 0
        THEN timestamp '0001-01-01' + below(3652059) * interval '1 day' + below(86400000000) * interval '1 microsecond' END,
    CASE WHEN below(10) > 0 THEN date '0001-01-01' + below(3652059)::int END,
    time '00:00' + below(86400) * interval '1 second'
FROM (SELECT below(39) AS point FROM generate_series(1, 99996)) AS points;

-- The least and the greatest of each type, what is next to zero, and what is not there beside what is empty or zero.
INSERT INTO sent VALUES
    ('', '', '', '', '', '', -128, -32768, -2147483648, -9223372036854775808, 0, 0, 0, 0, '-1.7976931348623157e308',
     '-3.4028235e38', '-9999999999999999999999999999.9999999999', '-1e124', '0001-01-01 00:00:00', '0001-01-01', '00:00:00'),
    ('\N', repeat('😀', 12), repeat('é', 24), repeat('😀', 12), repeat('字', 12), repeat('"', 12), 127, 32767, 2147483647,
     9223372036854775807, 255, 65535, 4294967295, 18446744073709551615, '1.7976931348623157e308', '3.4028235e38',
     '9999999999999999999999999999.9999999999', '99999999999999999999999999999999999999', '9999-12-31 23:59:59.999999',
     '9999-12-31', '23:59:59'),
    ('NULL', '\N', '\N', '\N', '\N', '\N', -1, -1, -1, -1, 1, 1, 1, 1, '5e-324', '1e-45', '0.0000000001', '1e-38',
     '2000-02-29 00:00:00.000001', '2000-02-29', '12:00:00'),
    (NULL, ' ', ' ', '', ' ', '', 0, 0, 0, 0, 0, 0, 0, 0, '-0', '-0', 0, NULL, NULL, NULL, '00:00:01');
